// SPDX-License-Identifier: Apache-2.0

#include "edit/attack/attempt.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <sstream>
#include <utility>

#include "edit/attack/line_reading.h"

namespace attack {
namespace {

using Shapes = std::vector<std::string>;

// {} is a full place, [] a trailing one, D a directive's name.

const Shapes kDirectivesOfNginx = {"D {};",
                                   "D {};",
                                   "D {};",
                                   "D /srv/{}/www;",
                                   "D /srv/{};",
                                   "D {}/www;",
                                   "D {}{};",
                                   "D x{}-{}y;",
                                   "D {} {};",
                                   "D {} fixed {};",
                                   "D \"{}\";",
                                   "D \"{}\";",
                                   "D '{}';",
                                   "D \"x {} y\";",
                                   "D 'x {} {} y' z;",
                                   "D \"{}\" \"{}\";",
                                   "D \"{}{}\";",
                                   "D '{}' \"{}\" {};",
                                   "D {} ;",
                                   "D \"\\{}\";",
                                   "D \"{}\\n\";",
                                   "D \"\\\"{}\\\"\";",
                                   "D \\{};",
                                   "D ${};",
                                   "D x={}$y;",
                                   "D {}; # note",
                                   "D {}; # end {}",
                                   "D x; # end [] {}",
                                   "D \"a{}\"{};",
                                   "D ~^{}$;",
                                   "D x \"y\n[]\";",
                                   "D\t{}\t{};",
                                   "D \"x\n{}\ny\";",
                                   "D x\n\t{};",
                                   "D 'x\n[]';",
                                   "D [];",
                                   "D [];",
                                   "D x [];",
                                   "D x[];",
                                   "D []y;",
                                   "D \"[]\";",
                                   "D \"x [] y\" z;",
                                   "D '[]';",
                                   "D {} [];",
                                   "D [] [];",
                                   "D [] last;",
                                   "D \"{}\" [];",
                                   "D [] ;",
                                   "{};",
                                   "{} x;"};

const Shapes kOpeningsOfNginx = {
    "location {} {",        "location /x{} {",      "location ~ \"{}\" {",
    "location ~ '{}' {",    "location {}{",         "location {} {} {",
    "if ($x = \"{}\") {",   "location /x[] {",      "location \"{}{}\" {",
    "location [] {",        "map $x ${} {",         "upstream {} {",
    "limit_except {} [] {", "location ~ ^{}/[]$ {", "{} {"};

const Shapes kCommentsOfNginx = {"# {}", "#{} {}", "# []", "# \"{}\"", "# x {} y"};

const Shapes kDirectivesOfApache = {"D {}",
                                    "D {}",
                                    "D {}",
                                    "D /srv/{}/www",
                                    "D /srv/{}",
                                    "D {}/www",
                                    "D {}{}",
                                    "D x{}-{}y",
                                    "D {} {}",
                                    "D {} fixed {}",
                                    "D \"{}\"",
                                    "D \"{}\"",
                                    "D '{}'",
                                    "D \"x {} y\"",
                                    "D 'x {} {} y' z",
                                    "D \"{}\" \"{}\"",
                                    "D \"{}{}\"",
                                    "D '{}' \"{}\" {}",
                                    "D \"\\{}\"",
                                    "D \"{}\\\"\"",
                                    "D \"\\\\{}\"",
                                    "D \\{}",
                                    "D ${}",
                                    "D x \\\n {}",
                                    "D \"x \\\n{}\"",
                                    "D {} \\\n y",
                                    "D\t{}\t{}",
                                    "D []",
                                    "D []",
                                    "D x []",
                                    "D x[]",
                                    "D []y",
                                    "D \"[]\"",
                                    "D \"x [] y\" z",
                                    "D '[]'",
                                    "D {} []",
                                    "D [] []",
                                    "D [] last",
                                    "D \"{}\" []",
                                    "D {} [] ",
                                    "D x{} []{}",
                                    "D ^{}$ \"[]\" [L]",
                                    "D \"a\" {}\"b\"",
                                    "D %{}x [] \\\n y",
                                    "{}",
                                    "{} x"};

const Shapes kOpeningsOfApache = {"<Location {}>",
                                  "<Location \"{}\">",
                                  "<Location /x{}>",
                                  "<Directory '{}'>",
                                  "<Files {} >",
                                  "<Location ~ {}>",
                                  "<Location []>",
                                  "<IfModule {}>",
                                  "<Location {}{}>",
                                  "<LocationMatch \"x {} y\">",
                                  "<Location \"[]\">",
                                  "<{}>",
                                  "<If \"%{HTTP_HOST} == '{}'\">",
                                  "<Proxy *{}>",
                                  "<Limit [] {}>",
                                  "<FilesMatch ^{}$>",
                                  "<Directory ~ \"[]{}\">"};

const Shapes kCommentsOfApache = {"# {}", "#{} {}", "# []", "# {} \\\n# y"};

const Shapes kNamesOfNginx = {"d0",         "d1",         "d2",      "d3",  "root",   "add_header",
                              "return",     "error_page", "listen",  "set", "deny",   "server_name",
                              "proxy_pass", "access_log", "rewrite", "d4",  "charset"};

const Shapes kNamesOfApache = {"Dzero",        "Done",     "Dtwo",    "Dthree",
                               "DocumentRoot", "SetEnv",   "Header",  "ServerAlias",
                               "Options",      "Redirect", "Require", "ErrorDocument",
                               "CustomLog",    "AddType",  "Dfour",   "RewriteRule"};

// Here {} is a value's name.
const Shapes kConditions = {"${} == on",   "{} == on",   "${} != on", "${}",
                            "${} == \"\"", "${} == ${}", "[] == on"};

// Conditions whose operands are values: here [] is a place. With what follows they hold or not as
// the first comparison says.
const Shapes kPlaceConditions = {"[] == on", "on == []", "[] == on or zz == on",
                                 "[] == on and on == on", "zz == on or [] == on"};

const Shapes kImports = {"[].part", "part-[]", "[]", "x/[]/[]"};

class Maker {
 public:
  explicit Maker(std::size_t number)
      : m_dice(static_cast<std::uint32_t>(number * 2654435761U + 17)) {
    m_made.dialect = m_dice.Percent(50) ? Dialect::kNginx : Dialect::kApache;
    m_nginx = m_made.dialect == Dialect::kNginx;
  }

  Attempt Make() {
    MakeValues();
    m_unused = m_nginx ? kNamesOfNginx : kNamesOfApache;
    m_dice.Shuffle(m_unused);
    MakeServer();
    AddLines(1, 1 + m_dice.Below(3));
    if (m_dice.Percent(35)) MakeInner();
    if (m_dice.Percent(15)) AddImport();
    m_made.template_text = m_template + (m_nginx ? "}\n" : "</VirtualHost>\n");
    m_made.config = WholeConfig();
    if (m_dice.Percent(6)) EndLinesWithReturns();
    return std::move(m_made);
  }

 private:
  void MakeValues() {
    m_made.harmless = m_dice.Percent(10);
    const Shapes names = {"a", "b", "c"};
    m_names.assign(names.begin(), names.begin() + 1 + static_cast<std::ptrdiff_t>(m_dice.Below(3)));
    for (const std::string& name : m_names) {
      Value& value = m_made.values[name];
      if (!m_dice.Percent(4)) value.new_value = NewText();
      const std::size_t kind = m_dice.Below(10);
      if (kind < 3) continue;
      if (kind < 6) value.old_value = "old-" + name;
      if (kind == 6) value.old_value = value.new_value;
      if (kind > 6) value.old_value = HostileValue(m_dice);
    }
    if (m_dice.Percent(6)) {
      m_made.raw = m_dice.Pick(m_names);
      Value& value = m_made.values[m_made.raw];
      value.new_value = m_dice.Pick(Shapes{"/srv/one", "4", "five-six"});
      if (value.old_value) value.old_value = "old-raw";
    }
    for (const auto& [name, value] : m_made.values) {
      if (value.new_value) m_new[name] = *value.new_value;
      if (value.new_value || value.old_value) {
        m_old[name] = value.old_value.value_or(value.new_value.value_or(""));
      }
    }
  }

  // Not where a value has several lines: those that stand in the configuration would end otherwise.
  void EndLinesWithReturns() {
    const auto has_lines = [](const std::optional<std::string>& text) {
      return text && text->find('\n') != std::string::npos;
    };
    for (const auto& [name, value] : m_made.values) {
      if (has_lines(value.old_value) || has_lines(value.new_value)) return;
    }
    std::string text;
    for (const char c : m_made.config) text += c == '\n' ? "\r\n" : std::string(1, c);
    m_made.config = text;
  }

  std::string NewText() {
    return m_made.harmless || m_dice.Percent(20) ? HarmlessValue(m_dice) : HostileValue(m_dice);
  }

  std::string Blank() { return m_dice.Percent(70) ? " " : m_dice.Percent(50) ? "" : "  "; }

  std::string Place(char open) {
    const std::string inner = Blank() + "$" + m_dice.Pick(m_names) + Blank();
    return open == '{' ? "{%" + inner + "%}" : "[%" + inner + "%]";
  }

  std::string WithPlaces(const std::string& shape) {
    std::string text;
    for (std::size_t i = 0; i < shape.size(); ++i) {
      const bool is_place = i + 1 < shape.size() &&
                            (shape.compare(i, 2, "{}") == 0 || shape.compare(i, 2, "[]") == 0);
      text += is_place ? Place(shape.at(i)) : std::string(1, shape.at(i));
      if (is_place) ++i;
    }
    return text;
  }

  std::string WithName(std::string shape) {
    if (shape.front() != 'D') return shape;
    const std::string name = m_unused.back();
    m_unused.pop_back();
    return shape.replace(0, 1, name);
  }

  Line LineOf(Line::Kind kind, const std::string& text, std::size_t block) {
    Line line;
    line.kind = kind;
    line.text = text;
    line.block = block;
    return line;
  }

  // The outermost block, whose head or name has a place now and then.
  void MakeServer() {
    m_made.blocks.resize(2);
    if (m_dice.Percent(85)) m_made.blocks[1].mark = "m1";
    const std::string name = m_made.blocks[1].mark.empty() ? "new.example" : "a.example";
    std::string head = m_nginx ? "server {" : "<VirtualHost *:80>";
    std::string names = (m_nginx ? "server_name " : "ServerName ") + name;
    if (m_nginx) names += ";";
    const std::size_t odd = m_dice.Below(12);
    if (odd == 0) names = m_nginx ? "server_name {% $s %};" : "ServerName {% $s %}";
    if (odd == 1) names = m_nginx ? "server_name \"{% $s %}\";" : "ServerName \"{% $s %}\"";
    if (odd == 2 && !m_nginx) head = "<VirtualHost {% $h %}:80>";
    if (odd <= 1) AddIdentity("s", name);
    if (odd == 2 && !m_nginx) AddIdentity("h", "*");
    Line opening = LineOf(Line::Kind::kOpening, head, 1);
    opening.closing = m_nginx ? "}" : "</VirtualHost>";
    m_made.lines.push_back(opening);
    m_made.lines.push_back(LineOf(Line::Kind::kDirective, names, 1));
    m_template = head + "\n\t" + names + "\n";
  }

  void AddIdentity(const std::string& name, const std::string& old_text) {
    Value& value = m_made.values[name];
    value.old_value = old_text;
    value.new_value = m_made.harmless ? "moved.example" : NewText();
    m_new[name] = *value.new_value;
    m_old[name] = old_text;
  }

  void AddLines(std::size_t block, std::size_t count) {
    for (; count > 0; --count) AddLine(block);
  }

  void AddLine(std::size_t block) {
    const bool is_comment = m_dice.Percent(8);
    const Shapes& shapes = is_comment ? (m_nginx ? kCommentsOfNginx : kCommentsOfApache)
                                      : (m_nginx ? kDirectivesOfNginx : kDirectivesOfApache);
    const std::string text = WithPlaces(WithName(m_dice.Pick(shapes)));
    Line line = LineOf(is_comment ? Line::Kind::kComment : Line::Kind::kDirective, text, block);
    const bool conditional = m_dice.Percent(18);
    if (conditional) line.taken = AddCondition();
    m_made.lines.push_back(line);
    m_template += "\t" + text + (m_dice.Percent(5) ? "{#} note" : "") + "\n";
    if (conditional) m_template += "{% endif %}\n";
    if (!is_comment) AddToConfig(line);
  }

  // What the configuration has of a directive already: that with the old values, or nothing.
  void AddToConfig(const Line& line) {
    if (m_made.blocks.at(line.block).mark.empty() || !m_dice.Percent(60)) return;
    if (!IsComplete(line.text, m_old)) return;
    if (!ReadLine(m_made.dialect, line, m_old).in_place) return;
    m_config[line.block] += "\t" + Filled(line.text, m_old) + "\n";
  }

  // Whether it holds.
  bool AddCondition() {
    const std::string shape = m_dice.Pick(kConditions);
    if (shape == "[] == on") return AddConditionWithPlace();
    std::string condition;
    std::vector<std::string> operands;
    for (std::size_t i = 0; i < shape.size(); ++i) {
      if (shape.compare(i, 2, "{}") != 0) {
        condition += shape.at(i);
        continue;
      }
      operands.push_back(m_dice.Pick(m_names));
      condition += operands.back();
      ++i;
    }
    m_template += "{% if " + condition + " %}\n";
    const std::string left = Meant(operands.front());
    if (shape.find('=') == std::string::npos) return m_new.count(operands.front()) != 0;
    if (operands.size() > 1) return left == Meant(operands.back());
    if (shape.find("\"\"") != std::string::npos) return left.empty();
    return (left == "on") == (shape.find("==") != std::string::npos);
  }

  // What an operand of a condition stands for.
  std::string Meant(const std::string& operand) const {
    return m_new.count(operand) != 0 ? m_new.at(operand) : operand;
  }

  bool AddConditionWithPlace() {
    const std::string name = m_dice.Pick(m_names);
    std::string condition = m_dice.Pick(kPlaceConditions);
    condition.replace(condition.find("[]"), 2, "[% $" + name + " %]");
    const bool is_second = m_dice.Percent(25);
    m_template += is_second ? "{% if $none %}\n{% elif " : "{% if ";
    m_template += condition + " %}\n";
    m_made.has_operand = true;
    if (m_new.count(name) == 0) return false;
    const std::string& value = m_new.at(name);
    const bool is_word = !value.empty() && value != "and" && value != "or" &&
                         value.find("\"\"") == std::string::npos &&
                         std::none_of(value.begin(), value.end(),
                                      [](char c) { return static_cast<unsigned char>(c) <= 0x20; });
    if (!is_word) m_made.odd_condition = true;
    return Meant(value) == Meant("on");
  }

  void MakeInner() {
    m_made.blocks.resize(3);
    m_made.blocks[2].parent = 1;
    Line line = LineOf(Line::Kind::kOpening,
                       WithPlaces(m_dice.Pick(m_nginx ? kOpeningsOfNginx : kOpeningsOfApache)), 2);
    if (m_nginx) {
      line.closing = "}";
    } else {
      const std::string name = line.text.substr(1, line.text.find_first_of(" >{") - 1);
      line.closing = "</" + (name.empty() ? "Location" : name) + ">";
    }
    const bool is_there = !m_made.blocks[1].mark.empty() && m_dice.Percent(60) &&
                          IsComplete(line.text, m_old) &&
                          ReadLine(m_made.dialect, line, m_old).in_place;
    if (is_there) m_made.blocks[2].mark = "m2";
    m_made.lines.push_back(line);
    m_template += "\t" + line.text + "\n";
    AddLines(2, m_dice.Below(3));
    m_template += "\t" + line.closing + "\n";
    if (!is_there) return;
    m_inner = "\t" + Filled(line.text, m_old) + "\n\tmark m2" + End() + m_config[2] + "\t" +
              line.closing + "\n";
  }

  void AddImport() {
    const std::string path = WithPlaces(m_dice.Pick(kImports));
    m_template += "{% import " + path + " %}\n";
    if (!IsComplete(path, m_new)) return;
    std::string name = Filled(path, m_new);
    const auto is_blank = [](char c) {
      return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
    };
    while (!name.empty() && is_blank(name.back())) name.pop_back();
    while (!name.empty() && is_blank(name.front())) name.erase(0, 1);
    if (("/" + name + "/").find("/../") != std::string::npos) return;
    m_made.imported_name = name;
    Line line = LineOf(Line::Kind::kDirective, m_nginx ? "imported yes;" : "Imported yes", 1);
    m_made.imported_text = line.text + "\n";
    line.imported = true;
    m_made.lines.push_back(line);
  }

  std::string End() const { return m_nginx ? ";\n" : "\n"; }

  std::string WholeConfig() {
    const std::string end = End();
    const auto server = [&](const std::string& mark, const std::string& name,
                            const std::string& lines) {
      return m_nginx
                 ? "server {\n\tmark " + mark + ";\n\tserver_name " + name + ";\n" + lines + "}\n"
                 : "<VirtualHost *:80>\n\tmark " + mark + "\n\tServerName " + name + "\n" + lines +
                       "</VirtualHost>\n";
    };
    std::string config = server("m8", "b.example", "\tkeep \"; } { evil on;\"" + end);
    if (!m_made.blocks[1].mark.empty()) {
      const std::string own = "\tkeep me" + end;
      config +=
          server("m1", "a.example",
                 m_dice.Percent(50) ? own + m_config[1] + m_inner : m_config[1] + m_inner + own);
    }
    return config + server("m9", "z.example", "\tkeep z" + end);
  }

  Dice m_dice;
  bool m_nginx = true;
  Attempt m_made;
  Shapes m_names;
  Shapes m_unused;  // names of directives
  Texts m_new;
  Texts m_old;
  std::string m_template;
  std::map<std::size_t, std::string> m_config;  // lines, by block
  std::string m_inner;
};

// Without what a terminal would act on.
std::string Visible(const std::string& text) {
  std::ostringstream visible;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == '\n' || (byte >= 0x20 && byte < 0x7f)) {
      visible << c;
    } else {
      visible << "<" << std::hex << static_cast<unsigned>(byte) << ">";
    }
  }
  return visible.str();
}

}  // namespace

Attempt MakeAttempt(std::size_t number) {
  return Maker(number).Make();
}

std::string Shown(const Attempt& attempt) {
  std::string shown = attempt.dialect == Dialect::kNginx ? "--- nginx" : "--- Apache";
  shown += "\n--- template:\n" + attempt.template_text + "--- values:\n";
  const auto text = [](const std::optional<std::string>& value) {
    return value ? "'" + *value + "'" : "(none)";
  };
  for (const auto& [name, value] : attempt.values) {
    shown += name + ": " + text(value.old_value) + " -> " + text(value.new_value) + "\n";
  }
  return Visible(shown + "--- configuration:\n" + attempt.config);
}

}  // namespace attack
