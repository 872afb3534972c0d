// SPDX-License-Identifier: Apache-2.0

// Listen lines, and long values of Apache directives.
#include <vector>

#include "fuzz/input.h"
#include "template/apache.h"
#include "template/framework/str.h"
#include "template/nginx.h"

namespace {

void ParseListen(const std::string& line) {
  std::vector<tov_template::Nginx::Listen> listens;
  tov_template::Nginx::ParseListen(line, listens);
  for (const auto& listen : listens) {
    Require(!listen.address.empty() || !listen.options.empty(), "an empty listen");
    Require(listen.options == listens.front().options, "addresses with different options");
    std::vector<tov_template::Nginx::Listen> again;
    tov_template::Nginx::ParseListen(listen.Str(), again);
    if (listen.address.empty() || again.empty()) continue;
    Require(again.front().address == listen.address, "an address changed when read again");
  }
}

void CutValue(std::string value) {
  while (!value.empty()) {
    const std::size_t before = value.size();
    const std::string piece = tov_template::Apache::ParseHugeParam::GetPartParam(value);
    Require(piece.size() <= tov_template::Apache::kMaxPiece, "a piece is too long");
    Require(value.size() < before, "a value does not get shorter");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::string text = input.Next();
  ParseListen(text);
  std::string value = text;
  for (const std::string& part : input.Rest()) {
    // What is written in a short input stands for a long run of it.
    for (int i = 0; i < 500 && value.size() < 20000; ++i) value += part;
  }
  CutValue(value);
  return 0;
}
