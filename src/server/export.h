// SPDX-License-Identifier: Apache-2.0

// What the shared library shows to the programs that use it. All else is hidden. exports.map has to
// let the name pass as well.
#pragma once

#define QELTEMPLATE_SERVER_EXPORT [[gnu::visibility("default")]]
