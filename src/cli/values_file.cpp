#include "cli/values_file.h"

#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "cli/failure.h"
#include "cli/text_io.h"

namespace cli {
namespace {

using nlohmann::json;
using tov_template::NullValue;
using tov_template::Value;

// As it stands in the file, so that no byte of a name can spoil the message.
std::string Quoted(const std::string& name) {
  return json(name).dump();
}

// The library's message without its own prefix: "line 2, column 7: what is wrong", or without a
// place for what is no error of syntax, such as a number that is too large.
std::string Problem(const json::exception& error) {
  const std::string message = error.what();
  const std::size_t line = message.find("line ");
  if (line != std::string::npos) return message.substr(line);
  const std::size_t prefix = message.find("] ");
  return prefix == std::string::npos ? message : message.substr(prefix + 2);
}

// Parses `text`, keeping watch over the names of each open object: the parser itself would let the
// last of two equal names win.
json ParseJson(const std::string& text, const std::string& file) {
  std::vector<std::set<std::string>> open_objects;
  const auto watch = [&](int, json::parse_event_t event, const json& parsed) {
    if (event == json::parse_event_t::object_start) open_objects.emplace_back();
    if (event == json::parse_event_t::object_end) open_objects.pop_back();
    if (event == json::parse_event_t::key && !open_objects.back().insert(parsed).second) {
      throw Failure(file, parsed.dump() + " is given twice");
    }
    return true;
  };
  try {
    return json::parse(text, watch);
  } catch (const json::exception& error) {
    throw Failure(file, Problem(error));
  }
}

// Reads one document. `m_file` is for the messages.
class Reader {
 public:
  explicit Reader(const std::string& file) : m_file(file) {}

  Values ReadDocument(const json& document) const {
    if (!document.is_object()) {
      Fail(std::string("the values must be an object, not ") + document.type_name());
    }
    Values values;
    for (const auto& [name, member] : document.items()) values[name] = ReadMember(name, member);
    return values;
  }

 private:
  OldAndNew ReadMember(const std::string& name, const json& member) const {
    if (member.is_object()) return ReadPair(name, member);
    if (IsValue(member)) return {NullValue(), ToValue(member)};
    Fail(Quoted(name) + " must be a string, null or an object, not " + member.type_name());
  }

  OldAndNew ReadPair(const std::string& name, const json& pair) const {
    OldAndNew result;
    for (const auto& [side, member] : pair.items()) {
      if (side != "old" && side != "new") {
        Fail(Quoted(name) + " has a member " + Quoted(side) + ": only \"old\" and \"new\" may be");
      }
      if (!IsValue(member)) {
        Fail(Quoted(side) + " of " + Quoted(name) + " must be a string or null, not " +
             member.type_name());
      }
      (side == "old" ? result.old_value : result.new_value) = ToValue(member);
    }
    return result;
  }

  static bool IsValue(const json& member) { return member.is_string() || member.is_null(); }

  static Value ToValue(const json& member) {
    return member.is_null() ? Value(NullValue()) : Value(member.get<std::string>());
  }

  [[noreturn]] void Fail(const std::string& problem) const { throw Failure(m_file, problem); }

  const std::string& m_file;
};

}  // namespace

Values ParseValues(const std::string& json, const std::string& file) {
  return Reader(file).ReadDocument(ParseJson(json, file));
}

Values ReadValuesFile(const std::string& file) {
  return ParseValues(ReadFile(file), file);
}

}  // namespace cli
