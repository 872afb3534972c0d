// SPDX-License-Identifier: Apache-2.0

// Validators of short texts.
#pragma once

#include <string>

namespace test {

// Whether `text` is an IPv4 or IPv6 address in text form, as the C library's inet_pton accepts it:
// strict dotted quad, or an IPv6 address without zone, port or brackets. A text with an embedded
// NUL is refused.
bool Ip(const std::string& text);

// The same for IPv6 only.
bool Ip6(const std::string& text);

// Whether `text` is not empty and holds ASCII digits only.
bool Numeric(const std::string& text);

}  // namespace test
