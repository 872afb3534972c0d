// SPDX-License-Identifier: Apache-2.0

// The parts of the module _qeltemplate. What they define is for the package alone, which looks at
// types and says what is wrong with them; the manual stands there.
#pragma once

#include <pybind11/pybind11.h>

namespace python {

// Request, guess_dialect, inspect: the careful edit.
void DefineEdit(pybind11::module_& module);

// Files: the replacing of files.
void DefineUpdate(pybind11::module_& module);

// Parser and the log: the engine.
void DefineEngine(pybind11::module_& module);

}  // namespace python
