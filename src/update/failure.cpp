// SPDX-License-Identifier: Apache-2.0

#include "update/failure.h"

#include <utility>

namespace tov_update {
namespace {

FailureData DataOf(const std::string& file) {
  FailureData data;
  data.files.push_back(file);
  return data;
}

}  // namespace

Failure::Failure(const std::string& file, const std::string& problem)
    : Failure(file + ": " + problem, DataOf(file)) {}

Failure::Failure(const std::string& message) : Failure(message, FailureData()) {}

Failure::Failure(const std::string& message, FailureData data)
    : std::runtime_error(message), m_data(std::make_shared<const FailureData>(std::move(data))) {}

Failure::~Failure() = default;
ServerRefusal::~ServerRefusal() = default;
Overtaken::~Overtaken() = default;
Cancelled::~Cancelled() = default;

}  // namespace tov_update
