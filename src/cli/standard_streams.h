// SPDX-License-Identifier: Apache-2.0

// Standard input, output and error, also where the caller has closed them.
#pragma once

namespace cli {

// Gives each of them that is closed to /dev/null, so that no file that is opened later gets its
// number, and with it the messages that are meant for standard error. Reading and writing fail
// there as they do for what is closed. To be called before anything is opened. False when it fails.
bool OpenStandardStreams();

}  // namespace cli
