// SPDX-License-Identifier: Apache-2.0

// The parts of the module _qeltemplate. What they define is for the package alone, which looks at
// types and says what is wrong with them; the manual stands there.
#pragma once

#include <pybind11/pybind11.h>

#include <optional>
#include <string>

#include "document/dialect.h"
#include "edit/request.h"

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

// Server: the files of a whole server.
void DefineServer(pybind11::module_& module);

// What `request`, a Request, asks of a server of `dialect`, with `loader` for its imports, which
// has to outlive what is returned. Throws Python's ValueError when it is for another dialect.
tov_edit::Request RequestOf(const pybind11::object& request, tov_document::Dialect dialect,
                            const pybind11::handle& loader);

// Parser and the log: the engine.
void DefineEngine(pybind11::module_& module);

}  // namespace python
