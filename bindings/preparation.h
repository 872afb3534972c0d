// SPDX-License-Identifier: Apache-2.0

// What is kept of a request between two edits.
#pragma once

#include <memory>
#include <mutex>

#include "edit/prepared_edit.h"
#include "edit/request.h"

namespace bindings {

// The edit of a request, prepared when it is first asked for. Not for a request with an importer:
// what that finds may be another text the next time.
class Preparation {
 public:
  // `make` returns the request. Several threads may ask at once.
  template <class Make>
  std::shared_ptr<const tov_edit::PreparedEdit> Get(const Make& make) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_edit == nullptr) m_edit = std::make_shared<const tov_edit::PreparedEdit>(make());
    return m_edit;
  }

  // The request has changed.
  void Forget() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_edit = nullptr;
  }

 private:
  std::mutex m_mutex;
  std::shared_ptr<const tov_edit::PreparedEdit> m_edit;
};

}  // namespace bindings
