// SPDX-License-Identifier: Apache-2.0

#include "parts.h"

PYBIND11_MODULE(_qeltemplate, module) {
  python::DefineEdit(module);
  python::DefineAdopt(module);
  python::DefineUpdate(module);
  python::DefineServer(module);
  python::DefineEngine(module);
  module.attr("__version__") = QELTEMPLATE_VERSION;
}
