// SPDX-License-Identifier: Apache-2.0

#include "cli/values_file.h"

#include <utf8.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

#include "cli/failure.h"
#include "cli/text_io.h"

namespace cli {
namespace {

using nlohmann::json;
using Value = std::optional<std::string>;

// As JSON writes it, so that no byte of a name can spoil the message.
std::string Quoted(const std::string& name) {
  return json(name).dump();
}

[[noreturn]] void FailAt(const std::string& file, std::size_t line, std::size_t column,
                         const std::string& problem) {
  throw Failure(file + ':' + std::to_string(line) + ':' + std::to_string(column), problem);
}

[[noreturn]] void FailAtByte(const std::string& file, const std::string& text, std::size_t byte,
                             const std::string& problem) {
  const std::string_view before = std::string_view(text).substr(0, byte);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t line_start = before.rfind('\n') + 1;
  FailAt(file, static_cast<std::size_t>(line), before.size() - line_start + 1, problem);
}

constexpr char kReadOld[] = "read_old";

// Takes the parts of a document one after the other, as the parsers of both languages report them,
// and puts the values together. Each function returns what is wrong with the part, "" if nothing.
class Assembler {
 public:
  explicit Assembler(Values values) : m_values(std::move(values)) {}

  std::string OpenMap() {
    if (m_depth == 2) return NotAValue("object");
    ++m_depth;
    m_names.at(m_depth).clear();
    if (m_depth == 2) m_values[m_name];
    return std::string();
  }

  void CloseMap() { --m_depth; }

  std::string Key(const std::string& name) {
    if (!m_names.at(m_depth).insert(name).second) return Quoted(name) + " is given twice";
    if (m_depth == 2 && name != "old" && name != "new" && name != kReadOld) {
      return Quoted(m_name) + " has a member " + Quoted(name) +
             ": only \"old\", \"new\" and \"read_old\" may be";
    }
    (m_depth == 1 ? m_name : m_side) = name;
    return std::string();
  }

  std::string Scalar(const Value& value) {
    if (m_depth == 0) return NotAValue(!value ? "null" : "string");
    if (ExpectsFlag()) return NotAValue(!value ? "null" : "string");
    tov_edit::OldAndNew& pair = m_values[m_name];
    (m_depth == 2 && m_side == "old" ? pair.old_value : pair.new_value) = value;
    return std::string();
  }

  bool ExpectsFlag() const { return m_depth == 2 && m_side == kReadOld; }

  std::string Flag(bool value) {
    if (!ExpectsFlag()) return NotAValue("boolean");
    m_values[m_name].read_old = value;
    return std::string();
  }

  // `type`: what stands where a value should.
  std::string NotAValue(const std::string& type) const {
    if (m_depth == 0) return "the values must be an object, not " + type;
    if (m_depth == 1) return Quoted(m_name) + " must be a string, null or an object, not " + type;
    return Quoted(m_side) + " of " + Quoted(m_name) + " must be " +
           (ExpectsFlag() ? "true or false" : "a string or null") + ", not " + type;
  }

  Values Take() { return std::move(m_values); }

 private:
  Values m_values;
  std::size_t m_depth = 0;  // 1: inside the object of all values, 2: inside that of one
  std::string m_name;
  std::string m_side;
  std::array<std::set<std::string>, 3> m_names;  // those given in the open object of each depth
};

// --- JSON ---

// Goes over a text and tells how far the parser has got.
class Position {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  Position(const char* place, const char*& furthest) : m_place(place), m_furthest(&furthest) {}

  reference operator*() const { return *m_place; }
  Position& operator++() {
    *m_furthest = m_place++;
    return *this;
  }
  bool operator==(const Position& other) const { return m_place == other.m_place; }
  bool operator!=(const Position& other) const { return m_place != other.m_place; }

 private:
  const char* m_place;
  const char** m_furthest;
};

// The library's message without its own "[name of the error] parse error at PLACE: ".
std::string Problem(const json::exception& error) {
  const std::string message = error.what();
  const std::size_t prefix = message.find("] ") + 2;
  const bool has_place = message.compare(prefix, 11, "parse error") == 0;
  return message.substr(has_place ? message.find(": ", prefix) + 2 : prefix);
}

class JsonReader : public nlohmann::json_sax<json> {
 public:
  JsonReader(const std::string& text, const std::string& file, Assembler& assembler)
      : m_text(text), m_file(file), m_assembler(assembler), m_place(text.data()) {}

  void Read() {
    json::sax_parse(Position(m_text.data(), m_place),
                    Position(m_text.data() + m_text.size(), m_place), this);
  }

  bool key(string_t& name) override { return Expect(m_assembler.Key(name)); }
  bool string(string_t& text) override { return Expect(m_assembler.Scalar(text)); }
  bool null() override { return Expect(m_assembler.Scalar(std::nullopt)); }
  bool start_object(std::size_t /*size*/) override { return Expect(m_assembler.OpenMap()); }
  bool end_object() override {
    m_assembler.CloseMap();
    return true;
  }
  bool start_array(std::size_t /*size*/) override { return Refuse("array"); }
  bool end_array() override { return true; }
  bool boolean(bool value) override { return Expect(m_assembler.Flag(value)); }
  bool number_integer(number_integer_t /*value*/) override { return Refuse("number"); }
  bool number_unsigned(number_unsigned_t /*value*/) override { return Refuse("number"); }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override {
    return Refuse("number");
  }
  bool binary(binary_t& /*value*/) override { return Refuse("binary"); }

  // `position` counts the bytes read, the end of the text as one.
  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const json::exception& error) override {
    FailAtByte(m_file, m_text, position == 0 ? 0 : position - 1, Problem(error));
  }

 private:
  bool Refuse(const char* type) { return Expect(m_assembler.NotAValue(type)); }

  bool Expect(const std::string& problem) {
    if (problem.empty()) return true;
    FailAtByte(m_file, m_text, static_cast<std::size_t>(m_place - m_text.data()), problem);
  }

  const std::string& m_text;
  const std::string& m_file;
  Assembler& m_assembler;
  const char* m_place;  // the byte read last
};

// --- YAML ---

class YamlReader : public YAML::EventHandler {
 public:
  YamlReader(const std::string& file, Assembler& assembler)
      : m_file(file), m_assembler(assembler) {}

  void OnDocumentStart(const YAML::Mark& mark) override {
    if (m_document) Fail(mark, "a second document begins, there may be one");
    m_document = true;
  }
  void OnDocumentEnd() override {}
  void OnNull(const YAML::Mark& mark, YAML::anchor_t /*anchor*/) override {
    if (!m_map) return;  // a document of comments, say
    if (m_key_next) Fail(mark, "a name is missing; quote it if it is \"null\" or empty");
    Take(mark, std::nullopt);
  }
  void OnAlias(const YAML::Mark& mark, YAML::anchor_t /*anchor*/) override {
    Fail(mark, "an alias, which is not followed; write the value itself");
  }
  void OnScalar(const YAML::Mark& mark, const std::string& /*tag*/, YAML::anchor_t /*anchor*/,
                const std::string& value) override {
    const bool is_flag = m_assembler.ExpectsFlag() && (value == "true" || value == "false");
    if (!m_key_next && is_flag) {
      Expect(mark, m_assembler.Flag(value == "true"));
      m_key_next = true;
      return;
    }
    if (!m_key_next) return Take(mark, value);
    Expect(mark, m_assembler.Key(value));
    m_key_next = false;
  }
  void OnSequenceStart(const YAML::Mark& mark, const std::string& /*tag*/,
                       YAML::anchor_t /*anchor*/, YAML::EmitterStyle::value /*style*/) override {
    RefuseAsKey(mark);
    Expect(mark, m_assembler.NotAValue("array"));
  }
  void OnSequenceEnd() override {}
  void OnMapStart(const YAML::Mark& mark, const std::string& /*tag*/, YAML::anchor_t /*anchor*/,
                  YAML::EmitterStyle::value /*style*/) override {
    RefuseAsKey(mark);
    Expect(mark, m_assembler.OpenMap());
    m_map = true;
    m_key_next = true;
  }
  // What a map stands for is a value, so that a name is next.
  void OnMapEnd() override {
    m_assembler.CloseMap();
    m_key_next = true;
  }

 private:
  void Take(const YAML::Mark& mark, const Value& value) {
    Expect(mark, m_assembler.Scalar(value));
    m_key_next = true;
  }

  void RefuseAsKey(const YAML::Mark& mark) const {
    if (m_key_next) Fail(mark, "a name must be a string");
  }

  void Expect(const YAML::Mark& mark, const std::string& problem) const {
    if (!problem.empty()) Fail(mark, problem);
  }

  [[noreturn]] void Fail(const YAML::Mark& mark, const std::string& problem) const {
    FailAt(m_file, static_cast<std::size_t>(mark.line) + 1,
           static_cast<std::size_t>(mark.column) + 1, problem);
  }

  const std::string& m_file;
  Assembler& m_assembler;
  bool m_document = false;
  bool m_map = false;
  bool m_key_next = false;
};

bool IsControl(char c) {
  return (static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n' && c != '\r') || c == 0x7F;
}

// The parser would put other characters in the place of such bytes, or end at them, without a word.
void RefuseOddBytes(const std::string& text, const std::string& file) {
  const auto invalid = utf8::find_invalid(text.begin(), text.end());
  const auto control = std::find_if(text.begin(), text.end(), IsControl);
  const auto odd = std::min(invalid, control);
  if (odd == text.end()) return;
  FailAtByte(file, text, static_cast<std::size_t>(odd - text.begin()),
             "a byte that is not UTF-8; write it as an escape in double quotes");
}

// A quote that is never closed goes unnoticed when a line end is the last that the parser sees, not
// when the mark for the end of the document is.
std::string Ended(const std::string& text) {
  return !text.empty() && text.back() == '\n' ? text + "...\n" : text;
}

void ReadYaml(const std::string& text, const std::string& file, Assembler& assembler) {
  RefuseOddBytes(text, file);
  YamlReader reader(file, assembler);
  std::istringstream stream(Ended(text));
  YAML::Parser parser(stream);
  try {
    while (parser.HandleNextDocument(reader)) {
    }
  } catch (const YAML::Exception& error) {
    FailAt(file, static_cast<std::size_t>(error.mark.line) + 1,
           static_cast<std::size_t>(error.mark.column) + 1, error.msg);
  }
}

bool EndsWith(const std::string& text, std::string_view end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool IsYaml(const std::string& text, const std::string& file) {
  if (EndsWith(file, ".json")) return false;
  if (EndsWith(file, ".yaml") || EndsWith(file, ".yml")) return true;
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  return start != std::string::npos && text[start] != '{';
}

}  // namespace

Values ParseValues(const std::string& text, const std::string& file, Values earlier) {
  Assembler assembler(std::move(earlier));
  if (IsYaml(text, file)) {
    ReadYaml(text, file, assembler);
  } else {
    JsonReader(text, file, assembler).Read();
  }
  return assembler.Take();
}

Values ReadValuesFile(const std::string& file, Values earlier) {
  if (IsStandardInput(file)) {
    return ParseValues(ReadStandardInput(tov_edit::kLargestValues), kStandardInput,
                       std::move(earlier));
  }
  return ParseValues(ReadFile(file, tov_edit::kLargestValues), file, std::move(earlier));
}

}  // namespace cli
