// SPDX-License-Identifier: Apache-2.0

// Access masks of the parameters that an error carries.
#pragma once

#include <cstdint>

namespace tov_access {

// A set of flags that says who may see a parameter. The library passes it on and never reads it.
using AccessMask = std::uint32_t;

}  // namespace tov_access
