// SPDX-License-Identifier: Apache-2.0

// What the shared library shows to the programs that use it. All else is hidden, so that a program
// may have functions of the same names.
//
// A class with virtual operations is marked as a whole, for its type information; its private
// operations are hidden again. Of any other class, only the operations for its users are marked.
// exports.map has to let the name pass as well.
#pragma once

#define QELTEMPLATE_EXPORT [[gnu::visibility("default")]]
#define QELTEMPLATE_LOCAL [[gnu::visibility("hidden")]]
