// SPDX-License-Identifier: Apache-2.0

// The parts of the module _qeltemplate. What they define is for the package alone, which looks at
// types and says what is wrong with them; the manual stands there.
#pragma once

#include <pybind11/pybind11.h>

#include <optional>
#include <string>

#include "document/dialect.h"

namespace python {

// Request, guess_dialect, inspect: the careful edit.
void DefineEdit(pybind11::module_& module);

// adopt, adopt_common: templates from configurations.
void DefineAdopt(pybind11::module_& module);

// The dialect of this name; none: that of `text`, guessed. Throws Python's ValueError, under `name`
// for the text, where there is none.
tov_document::Dialect DialectOfText(const std::optional<std::string>& dialect,
                                    const std::string& text, const std::string& name);

// Files: the replacing of files.
void DefineUpdate(pybind11::module_& module);

// Parser and the log: the engine.
void DefineEngine(pybind11::module_& module);

}  // namespace python
