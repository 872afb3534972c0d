// SPDX-License-Identifier: Apache-2.0

#include "edit/tree/repetition.h"

#include <algorithm>
#include <iterator>

#include "document/ascii.h"
#include "edit/tree/repetition_tables.h"

namespace tov_edit {
namespace {

using tov_document::Dialect;

struct AsWritten {
  constexpr bool operator()(std::string_view a, std::string_view b) const { return a < b; }
};

struct InEitherCase {
  constexpr bool operator()(std::string_view a, std::string_view b) const {
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
      const char x = tov_document::Lower(a[i]);
      const char y = tov_document::Lower(b[i]);
      if (x != y) return x < y;
    }
    return a.size() < b.size();
  }
};

// Whether each name comes before the next one, so that it is there once.
template <class Before, std::size_t kSize>
constexpr bool IsSorted(const std::string_view (&names)[kSize]) {
  for (const std::string_view* name = std::begin(names) + 1; name != std::end(names); ++name) {
    if (!Before()(*(name - 1), *name)) return false;
  }
  return true;
}

static_assert(IsSorted<AsWritten>(kNginxOnce) && IsSorted<AsWritten>(kNginxMany));
static_assert(IsSorted<InEitherCase>(kApacheOnce) && IsSorted<InEitherCase>(kApacheMany));

template <class Before, std::size_t kOnceSize, std::size_t kManySize>
Repetition Find(const std::string_view (&once)[kOnceSize],
                const std::string_view (&many)[kManySize], std::string_view name) {
  if (std::binary_search(std::begin(once), std::end(once), name, Before())) {
    return Repetition::kOnce;
  }
  if (std::binary_search(std::begin(many), std::end(many), name, Before())) {
    return Repetition::kMany;
  }
  return Repetition::kUnknown;
}

}  // namespace

Repetition RepetitionOf(Dialect dialect, std::string_view name) {
  return dialect == Dialect::kNginx ? Find<AsWritten>(kNginxOnce, kNginxMany, name)
                                    : Find<InEitherCase>(kApacheOnce, kApacheMany, name);
}

}  // namespace tov_edit
