// SPDX-License-Identifier: Apache-2.0

#include "adapter.h"

#include <cstdlib>
#include <string_view>

#include "edit/edit.h"

namespace alike {

namespace {

// From "site.template:3:1: ... . 'listen 80;' in the template would mean the first one ...".
std::optional<Advice> AdviceOf(const std::string& message) {
  constexpr std::string_view kPlace = "site.template:";
  constexpr std::string_view kBehind = "' in the template would mean the first one";
  const std::size_t end = message.find(kBehind);
  const std::size_t begin = message.rfind(". '", end);
  if (message.compare(0, kPlace.size(), kPlace) != 0 || end == std::string::npos ||
      begin == std::string::npos) {
    return std::nullopt;
  }
  return Advice{std::strtoul(message.c_str() + kPlace.size(), nullptr, 10),
                message.substr(begin + 3, end - begin - 3)};
}

}  // namespace

Answer Ask(const Question& question) {
  tov_edit::Request request;
  request.dialect =
      question.dialect == Dialect::kNginx ? tov_edit::Dialect::kNginx : tov_edit::Dialect::kApache;
  request.template_name = "site.template";
  request.template_text = question.template_text;
  for (const auto& [name, value] : question.values) {
    tov_edit::OldAndNew& asked = request.values[name];
    asked.new_value = value.new_text;
    asked.read_old = value.read_old;
    if (!value.read_old) asked.old_value = value.old_text;
    request.must_be_used.insert(name);
  }
  request.all = question.all;
  request.must_exist = question.must_exist;
  request.skip_missing = question.skip_missing;
  if (question.never_create) request.create = tov_edit::Create::kNever;

  const tov_edit::Result result = tov_edit::Edit(request, question.config, "site.conf");
  Answer answer;
  answer.refused = !result.refusals.empty();
  if (!answer.refused) answer.text = result.text;
  for (const tov_edit::Finding& refusal : result.refusals) {
    answer.reasons += Shown(refusal) + " [" + refusal.name + "]\n";
    if (!answer.advice) answer.advice = AdviceOf(Shown(refusal));
  }
  return answer;
}

}  // namespace alike
