// SPDX-License-Identifier: Apache-2.0

#include "property/random_input.h"

#include <rapidcheck.h>

#include <sstream>
#include <vector>

namespace {

using Text = rc::Gen<std::string>;

Text OneOf(std::vector<std::string> texts) {
  return rc::gen::elementOf(std::move(texts));
}

// Lines joined by "\n".
Text Lines(const Text& line) {
  return rc::gen::map(rc::gen::container<std::vector<std::string>>(line),
                      [](const std::vector<std::string>& lines) {
                        std::string text;
                        for (const std::string& each : lines) text += each + "\n";
                        return text;
                      });
}

Text OddLine() {
  return rc::gen::container<std::string>(rc::gen::element('a', '{', '}', ';', '#', ' ', '\t', '\r',
                                                          '\0', '\x18', '\x19', '\xff', '$', '%',
                                                          '[', ']', ':', '1'));
}

Text Opener() {
  return OneOf({"server {", "  server {", "http {", "location / {", "location /a {", "if ($x) {",
                "upstream u {", "} else {", "\x18\x19 {", "a\x18\x19 {"});
}

Text Directive() {
  return OneOf({"root /a;", "root /ab;", "  index x;", "gzip on; # note", "# note", "x # y # z",
                " ", "}", "listen 80;", "\tlisten 127.0.0.1:80;", "listen [::1]:443 ssl; # x",
                "listen 80 default_server;", "listener x;", "server_name a;", "server_name b c;",
                "ssl on;", "ssl_protocols TLSv1.2;", "ssl_ciphers HIGH;"});
}

Text ConfigLine() {
  return rc::gen::weightedOneOf<std::string>(
      {{4, Opener()}, {5, rc::gen::just(std::string("}"))}, {9, Directive()}, {1, OddLine()}});
}

Text TemplateLine() {
  return rc::gen::weightedOneOf<std::string>(
      {{10, ConfigLine()},
       {2, OneOf({"server_name {% $a %};", "root {% $a %};", "root [% $b %];",
                  "listen {% $ip %}:80;", "location {% $a %} {", "{% $b %}", "x {% $none %};",
                  "ssl_protocols {% $b %};", "{% $a", "%} {% $a %}", "{% text %}", "a; {#} b"})},
       {2, OneOf({"{% if $a %}", "{% if $a == 1 %}", "{% elif $b == 2 %}", "{% else %}",
                  "{% endif %}", "{% if $a == 1 and $b == 2 or $c %}", "{% import nowhere %}"})}});
}

// See edits.h.
Text EditLine() {
  const auto join = [](const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "" : "\x1f") + part;
    return text;
  };
  const auto number =
      rc::gen::map(rc::gen::inRange(0, 60), [](int n) { return std::to_string(n); });
  const auto line = rc::gen::weightedOneOf<std::string>({{3, Opener()}, {6, Directive()}});
  const auto key = rc::gen::weightedOneOf<std::string>(
      {{3, Directive()}, {1, Opener()}, {1, OneOf({"", ";", "root", "listen", "#", "}"})}});
  return rc::gen::map(
      rc::gen::tuple(OneOf({"append", "append", "remove", "remove_part", "change", "empty"}),
                     number, line, line, key),
      [join](const std::tuple<std::string, std::string, std::string, std::string, std::string>& t) {
        return join(
            {std::get<0>(t), std::get<1>(t), std::get<2>(t), std::get<3>(t), std::get<4>(t)});
      });
}

// What the lines of ConfigLine leave out: listens of several addresses and none, odd openings and
// closings, identifying directives in odd forms.
Text OddDirective() {
  return OneOf({"listen 127.0.0.1:80 [::1]:80 ssl;",
                "listen 127.0.0.1:80 127.0.0.1:80;",
                "\t\tlisten [::1]:80 ssl;",
                "listen 80; # x",
                "listen localhost:8080;",
                "listen;",
                "listen",
                "listen 80 {",
                "listener {",
                "}}",
                "} # end",
                "} listen 80;",
                "server {#",
                "root /abc;",
                "  root /a; # x # y",
                "server_name {",
                "server_name;",
                "server_name {% $x %};",
                "ssl_prefer_server_ciphers on;",
                "http { ",
                "server"});
}

Text RichConfigLine() {
  return rc::gen::weightedOneOf<std::string>({{8, ConfigLine()}, {2, OddDirective()}});
}

// An argument of an edit: a whole line, the beginning of one, next to nothing, or "=", which stands
// for the last level of the block's path.
Text Argument() {
  const Text line =
      rc::gen::weightedOneOf<std::string>({{2, Opener()}, {4, Directive()}, {3, OddDirective()}});
  const Text beginning = rc::gen::map(rc::gen::pair(line, rc::gen::inRange<std::size_t>(1, 12)),
                                      [](const std::pair<std::string, std::size_t>& cut) {
                                        return cut.first.substr(0, cut.second);
                                      });
  return rc::gen::weightedOneOf<std::string>(
      {{10, line},
       {4, beginning},
       {3, rc::gen::just(std::string("="))},
       {2, OneOf({"", " ", "\t", ";", " ; ", "#", "{", "}", "s", "l", "  root", "new;"})},
       {1, OddLine()}});
}

Text RichEditLine() {
  const auto number =
      rc::gen::map(rc::gen::inRange(0, 240), [](int n) { return std::to_string(n); });
  const Text operation = OneOf({"append", "append", "append", "append", "remove", "remove",
                                "remove_part", "change", "change", "change", "empty"});
  return rc::gen::map(
      rc::gen::tuple(operation, number, Argument(), Argument(), Argument()),
      [](const std::tuple<std::string, std::string, std::string, std::string, std::string>& t) {
        return std::get<0>(t) + "\x1f" + std::get<1>(t) + "\x1f" + std::get<2>(t) + "\x1f" +
               std::get<3>(t) + "\x1f" + std::get<4>(t);
      });
}

Text NestingLine() {
  return rc::gen::weightedOneOf<std::string>(
      {{6, rc::gen::just(std::string("-"))},
       {6, OneOf({"a+", "b+", "a\t+", "x", " "})},
       {3, OneOf({"= N", "= b+", "= c", "= a+", "= _", "=", "== d"})},
       {3, OneOf({"a+\x18\x19", "a+\x18\x19\x18\x19",
                  "a+\x18\x19"
                  "b+",
                  "a+\x18\x19\x18\x19"
                  "b+",
                  "\x18\x19"
                  "a+",
                  "\x18\x19+", "+\x18\x19 ", "+ \x18\x19 b", "+\x18\x19\x18\x19\x18\x19"})},
       {2, OneOf({"= a+\x18\x19", "= b+\x18\x19z", "== \x18\x19q", "= a+\x18\x19\x18\x19z"})}});
}

Text PathText() {
  return Lines(OneOf({"a", "b", "", "ab"}));
}

std::string SectionPath(std::string lines) {
  std::string path;
  for (const char c : lines) path += c == '\n' ? std::string("\x18\x19") : std::string(1, c);
  return path.empty() ? path : path.substr(0, path.size() - 2);
}

// What files and their templates are made of.
struct Words {
  std::vector<std::string> openings;  // "location / {"
  std::vector<std::string> lines;
  std::vector<std::string> template_lines;
  std::string closing;  // of a block whose opening line says nothing of it: "}"
};

const Words kNginxWords = {
    {"server {", "server {", "server {", "location / {", "location /a {", "http {", "if ($x) {"},
    {"server_name a;", "server_name a;", "server_name b;", "server_name ab a;", "root /a;",
     "root   /a;", "root /b; # root", "root /ab;", "listen 80;", "listen 1.1.1.1:80;",
     "listen 1.1.1.1:81;", "ssl on;", "gzip on;", "# note", "deny 1.1.1.10;", "allow all;",
     "add_header X \"#a\";"},
    {"server_name {% $a %};", "server_name {% $a %};", "server_name {% $n %};", "server_name a;",
     "root /{% $a %};", "root /{% $a %};", "root [% $a %];", "listen {% $ip %}:80;", "listen 80;",
     "gzip on;", "add_header X [% $n %];", "ssl on;", "index {% $none %};", "{#} note"},
    "}"};

const Words kApacheWords = {
    {"<VirtualHost 1.1.1.1:80>", "<VirtualHost *:80>", "<Directory /a>", "<Location />"},
    {"ServerName a", "ServerName b", "ServerAlias a", "ServerAlias b c", "Options Indexes",
     "Options +Indexes", "Options None", "DocumentRoot /a", "DocumentRoot   /a", "# note",
     "DirectoryIndex a b", "php_admin_value x 1"},
    {"ServerName {% $a %}", "ServerAlias {% $a %}", "ServerAlias [% $a %]", "Options Indexes",
     "DocumentRoot /{% $a %}", "DocumentRoot [% $a %]", "DirectoryIndex {% $a %}",
     "php_admin_value x [% $n %]"},
    ""};

std::string ClosingOf(const Words& words, const std::string& opening) {
  if (!words.closing.empty()) return words.closing;
  return "</" + opening.substr(1, opening.find(' ') - 1) + ">";
}

std::string Indented(const std::string& text) {
  std::string result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) result += "\t" + line + "\n";
  return result;
}

// Blocks and lines, a few levels deep. `wrap` may put something around each of them.
template <class Wrap>
Text Nested(const Words& words, const std::vector<std::string>& lines, int levels, Wrap wrap) {
  const Text line = rc::gen::map(OneOf(lines), [](const std::string& text) { return text + "\n"; });
  if (levels == 0) return wrap(line);
  const Text block = rc::gen::map(
      rc::gen::pair(OneOf(words.openings), Nested(words, lines, levels - 1, wrap)),
      [words](const std::pair<std::string, std::string>& parts) {
        return parts.first + "\n" + Indented(parts.second) + ClosingOf(words, parts.first) + "\n";
      });
  const Text part = wrap(rc::gen::weightedOneOf<std::string>({{3, line}, {2, block}}));
  return rc::gen::map(rc::gen::resize(6, rc::gen::container<std::vector<std::string>>(part)),
                      [](const std::vector<std::string>& parts) {
                        std::string text;
                        for (const std::string& each : parts) text += each;
                        return text;
                      });
}

// The same text with other line ends, blank lines, and perhaps without its last line end.
Text WithOddEnds(const Text& text) {
  const Text end = rc::gen::weightedElement<std::string>(
      {{12, "\n"}, {3, "\r\n"}, {2, "\n\n"}, {1, " \n"}, {1, "\n \t\n"}, {1, "\r\n\r\n"}});
  return rc::gen::map(rc::gen::tuple(text, rc::gen::container<std::vector<std::string>>(40, end),
                                     rc::gen::inRange(0, 3)),
                      [](const std::tuple<std::string, std::vector<std::string>, int>& parts) {
                        const auto& [plain, ends, last] = parts;
                        std::string result;
                        std::size_t number = 0;
                        for (const char c : plain) {
                          result += c == '\n' ? ends[number++ % ends.size()] : std::string(1, c);
                        }
                        if (last == 0) result.resize(result.find_last_not_of("\r\n \t") + 1);
                        return result;
                      });
}

Text FileOf(const Words& words) {
  return WithOddEnds(Nested(words, words.lines, 3, [](const Text& part) { return part; }));
}

Text TemplateOf(const Words& words) {
  std::vector<std::string> lines = words.lines;
  for (int i = 0; i < 2; ++i) {
    lines.insert(lines.end(), words.template_lines.begin(), words.template_lines.end());
  }
  const auto in_branch = [](const Text& part) {
    const Text opening =
        OneOf({"{% if $on %}\n", "{% if $none %}\n", "{% if $none %}\ngzip off;\n{% else %}\n"});
    const Text branch = rc::gen::map(rc::gen::pair(opening, part),
                                     [](const std::pair<std::string, std::string>& p) {
                                       return p.first + p.second + "{% endif %}\n";
                                     });
    return rc::gen::weightedOneOf<std::string>({{7, part}, {1, branch}});
  };
  return Nested(words, lines, 2, in_branch);
}

// --- Sequences ---

// What long files and the sequences of steps over them are made of. In each text "%" is a number,
// and "~" a word that is nearly as long as a piece of a long value.
struct SequenceWords {
  std::vector<std::string> openings;  // a block's first lines, joined by "\n"
  std::vector<std::string> inner_openings;
  std::string inner_block;  // a whole one
  std::string closing;
  std::string renamed;             // an opening with the value "n" in its name
  std::vector<std::string> lines;  // of files
  std::vector<std::vector<std::string>>
      families;                             // arguments of edits that may concern one another
  std::vector<std::string> template_lines;  // besides these
  std::vector<std::string> names;           // of "n" where only blocks get other names
  std::vector<std::string> values;
};

const SequenceWords kNginxSequences = {
    {"server {\nserver_name a;", "server {\nserver_name b;", "server {", "location /1 {"},
    {"location /1 {", "location /2 {", "location / {", "server {\nserver_name a;"},
    "location /% {\nlisten %;\n}",
    "}",
    "server {\nserver_name {% $n %};",
    {"x%;", "root /%;", "listen %;", "listen %;", "listen 1.1.1.1:%;", "listen % ssl; # %",
     "# note %", "\ty%; # z"},
    {{"x%;", "y%;", "new%;", "root /%;", "#", "zz %;"},
     {"listen %;", "listen %;", "listen 1.1.1.1:%;", "listen 1.1.1.1:% [::1]:%;", "listen % ssl;",
      "listen 1;", "zz %;"},
     {"server_name a;", "server_name b;", "server_name"},
     {"server {", "location /% {", "location /1 {", "location /2 {", "}", "="}},
    {"server_name {% $n %};", "location /{% $n %} {", "x{% $n %};", "listen {% $n %};",
     "root [% $n %];", "ssl_ciphers {% $n %};"},
    {"a", "b", "c"},
    {"a", "b", "c", "1", "2"}};

const SequenceWords kApacheSequences = {
    {"<V>", "<W>", "<X>", "<V 1>"},
    {"<V>", "<W>", "<Y>"},
    "<Y %>\nOptions O%\n</Y>",
    "</V>",
    "<{% $n %}>",
    {"K%", "ServerAlias a%", "DirectoryIndex a%", "Options O%", "Options A O%", "  Foo % # note",
     "zz a%", "ServerAlias ~ a%"},
    {{"K%", "new%", "Foo %", "zz a%"},
     {"ServerAlias a%", "ServerAlias a%", "ServerAlias a% b%", "ServerAlias ~ zz a%",
      "ServerAlias ~ a%", "ServerAlias", "zz a%", "zz a%"},
     {"DirectoryIndex a%", "DirectoryIndex ~ a%", "DirectoryIndex", "zz a%"},
     {"Options O%", "Options A", "Options Options", "Options O% Options A", "O%", "A",
      "Options ServerAlias a%", "A Options O%", "Options", "zz a%"},
     {"<V>", "<W>", "<X>", "<Y>", "</V>", "="}},
    {"<{% $n %}>", "{% $n %} a%", "ServerAlias {% $n %}", "ServerAlias [% $n %]",
     "Options [% $n %]", "Options {% $n %} A"},
    {"V", "W", "X"},
    {"V", "W", "X", "ServerAlias", "zz", "Options"}};

// Leaves the places of templates as they are, whose delimiters have a percent sign.
std::string Filled(const std::string& pattern, int number) {
  std::string text;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const bool opens = i > 0 && (pattern[i - 1] == '{' || pattern[i - 1] == '[');
    const bool closes = i + 1 < pattern.size() && (pattern[i + 1] == '}' || pattern[i + 1] == ']');
    if (pattern[i] == '%' && !opens && !closes) {
      text += std::to_string(number);
    } else if (pattern[i] == '~') {
      text += std::string(static_cast<std::size_t>(4078 + number % 9), 'q');
    } else {
      text += pattern[i];
    }
  }
  return text;
}

// Not the smaller the earlier in the run, as RapidCheck has it.
template <class T>
T Drawn(const rc::Gen<T>& gen) {
  return *rc::gen::resize(rc::kNominalSize, gen);
}

int Below(int limit) {
  return Drawn(rc::gen::inRange(0, limit));
}

std::string One(const std::vector<std::string>& texts) {
  return *OneOf(texts);
}

// Lines of one kind, numbered from somewhere.
std::string Run(const std::vector<std::string>& patterns) {
  const std::string pattern = One(patterns);
  const int count = Drawn(rc::gen::weightedOneOf<int>({{6, rc::gen::inRange(0, 12)},
                                                       {3, rc::gen::inRange(30, 71)},
                                                       {1, rc::gen::inRange(100, 700)}}));
  const int start = Below(40);
  const int limit = pattern.find('~') == std::string::npos ? count : count % 12;
  std::string text;
  for (int i = 0; i < limit; ++i) text += Filled(pattern, start + i) + "\n";
  return text;
}

std::string SequenceFile(const SequenceWords& words) {
  std::string text;
  for (int block = Below(4); block >= 0; --block) {
    text += One(words.openings) + "\n";
    for (int run = Below(4); run >= 0; --run) {
      text += Run(words.lines);
      if (Below(12) == 0) text += Run({words.inner_block});
      if (Below(4) != 0) continue;
      text += One(words.inner_openings) + "\n" + Run(words.lines) + words.closing + "\n";
    }
    text += words.closing + "\n";
  }
  return text;
}

using Family = std::vector<std::string>;

Family OneFamily(const SequenceWords& words) {
  return words.families[static_cast<std::size_t>(Below(static_cast<int>(words.families.size())))];
}

// Edits of one kind of the block number `section`.
std::string Edits(const Family& family, int section) {
  const std::string operation = *OneOf({"append", "append", "append", "remove", "remove", "remove",
                                        "remove_part", "change", "change", "empty"});
  const std::string line = One(family);
  const std::string old_line = One(family);
  const bool by_itself = operation != "change" && Below(2) == 0;
  const std::string key = by_itself ? line : One(family);
  const int start = Below(60);
  const int count = Drawn(rc::gen::weightedOneOf<int>(
      {{3, rc::gen::just(1)}, {2, rc::gen::inRange(1, 6)}, {2, rc::gen::inRange(17, 40)}}));
  std::string text;
  for (int i = start; i < start + count; ++i) {
    text += operation + '\x1f' + std::to_string(section);
    for (const std::string& part : {line, old_line, key}) text += '\x1f' + Filled(part, i);
    text += '\n';
  }
  return text;
}

std::string TemplateStep(const std::vector<std::string>& values, const std::string& text) {
  std::string step = "template\x1f" + One(values) + "\x1f" + One(values) + "\x1f";
  for (const char c : text) step += c == '\n' ? '\x1e' : c;
  return step + "\n";
}

std::string TemplateOf(const SequenceWords& words) {
  std::vector<std::string> patterns = words.template_lines;
  patterns.insert(patterns.end(), words.lines.begin(), words.lines.end());
  for (const auto& family : words.families) {
    patterns.insert(patterns.end(), family.begin(), family.end());
  }
  const auto lines = [&] {
    std::string text;
    for (int i = Below(5); i > 0; --i) {
      const std::string pattern = One(patterns);
      const int start = Below(60);
      const int count = Below(6) == 0 ? 20 : 1;
      for (int j = start; j < start + count; ++j) text += Filled(pattern, j) + "\n";
    }
    return text;
  };
  std::string text;
  for (int block = Below(2); block >= 0; --block) {
    text += (Below(2) == 0 ? words.renamed : One(words.openings)) + "\n" + lines();
    if (Below(2) == 0) text += "{% if $none %}\n" + lines() + "{% endif %}\n";
    text += lines() + words.closing + "\n";
  }
  return text;
}

// Most edits are of one block, and many of one family. Another parser often follows another name,
// which it has registered then.
std::string SequenceSteps(const SequenceWords& words) {
  constexpr int kWays =
      12;  // to come from a number to a block, the first ones to one that is there
  const int section = kWays * Below(4) + (Below(4) == 0 ? Below(kWays) : 0);
  const Family family = OneFamily(words);
  std::string text;
  for (int step = Below(16); step >= 0; --step) {
    const int kind = Below(14);
    if (kind < 4) text += Edits(family, section);
    if (kind == 4 || kind == 5) text += Edits(OneFamily(words), section);
    if (kind == 6) text += Edits(OneFamily(words), Below(4 * kWays));
    if (kind == 7 || kind == 8) text += TemplateStep(words.values, TemplateOf(words));
    if (kind > 10) text += TemplateStep(words.names, words.renamed + "\n" + words.closing);
    if (kind > 8) text += "parser\n";
  }
  return text;
}

// --- Plain sites ---

// In each text "@" is the name of the site.
struct SiteWords {
  std::vector<std::string> outer;        // openings that may stand around the sites; "": none
  std::string site;                      // the opening of one
  std::string name;                      // the directive that names it
  std::string value_name;                // the same in a template, with the value "a"
  std::vector<std::string> lines;        // of sites
  std::vector<std::string> inner;        // openings of the blocks in them
  std::vector<std::string> value_inner;  // the same with a value, of templates only
  std::vector<std::string> inner_lines;
  std::vector<std::string> value_lines;  // of templates, for sites and their blocks
  std::string closing;
};

const SiteWords kNginxSites = {
    {""},  // the engine closes an http around the sites twice
    "server {",
    "server_name @;",
    "server_name {% $a %};",
    {"listen 80;",
     "listen 1.1.1.1:80;",
     "listen 1.1.1.1:81 ssl;",
     "listen [::1]:80;",
     "root /a;",
     "root /x;",
     "index i;",
     "gzip on;",
     "gzip off;",
     "add_header X x;",
     "add_header Y y;",
     "# note",
     "allow 1.1.1.1;",
     "deny all;",
     "error_page 404 /404;",
     "error_page 500 /500;",
     "access_log logs/a.log;",
     "ssl on;",
     "ssl_protocols TLSv1.2;",
     "client_max_body_size 1m;"},
    {"location / {", "location /a {", "location /x {", "location = /y {", "if ($x) {"},
    {"location {% $p %} {", "location = {% $p %} {"},
    {"root /a;", "root /x;", "try_files x y;", "deny all;", "allow 1.1.1.1;", "return 404;",
     "proxy_pass http://a;", "proxy_set_header A a;", "# inner"},
    {"root {% $p %};", "root [% $p %];", "index [% $n %];", "access_log logs/{% $a %}.log;",
     "listen {% $ip %}:80;", "add_header X {% $a %};", "add_header Z {% $n %};",
     "add_header X [% $n %];", "error_page [% $n %];", "error_page 404 [% $n %];",
     "proxy_pass http://{% $a %};", "gzip {% $none %};", "allow {% $ip %};",
     "client_max_body_size {% $n %};", "ssl_protocols [% $n %];"},
    "}"};

const SiteWords kApacheSites = {
    {"", "", "<IfModule mod_ssl.c>"},
    "<VirtualHost @>",
    "ServerName @",
    "ServerName {% $a %}",
    {"ServerAlias www.a", "ServerAlias x y", "DocumentRoot /a", "DocumentRoot /x", "# note",
     "DirectoryIndex i", "ErrorLog logs/a", "ErrorDocument 404 /404", "ErrorDocument 500 /500",
     "Header set X x", "SetEnv A a", "SetEnv B b", "Timeout 5", "php_admin_value a 1",
     "php_admin_value x 1", "Alias /x /y"},
    {"<Directory /a>", "<Directory /x>", "<Location />", "<Location /x>", "<Files x>"},
    {"<Directory {% $p %}>", "<Location {% $p %}>"},
    {"Require all granted", "Require ip 1.1.1.1", "AllowOverride None", "Options Indexes",
     "SetEnv C c", "# inner", "DirectoryIndex i"},
    {"DocumentRoot {% $p %}", "DocumentRoot [% $p %]", "ServerAlias {% $a %}",
     "ServerAlias [% $n %]", "DirectoryIndex [% $n %]", "DirectoryIndex {% $n %}",
     "ErrorDocument 404 [% $n %]", "ErrorDocument [% $n %]", "SetEnv A {% $a %}",
     "SetEnv A [% $n %]", "php_admin_value a [% $n %]", "Require ip {% $ip %}",
     "Timeout {% $none %}", "Alias /x {% $p %}"},
    ""};

// At least `least` and less than `limit` of `texts`, each at most once, in any order.
std::vector<std::string> Some(std::vector<std::string> texts, int least, int limit) {
  std::vector<std::string> some;
  for (int i = least + Below(limit - least); i > 0 && !texts.empty(); --i) {
    const int drawn = Below(static_cast<int>(texts.size()));
    const auto at = texts.begin() + drawn;
    some.push_back(*at);
    texts.erase(at);
  }
  return some;
}

std::vector<std::string> Joined(std::vector<std::string> first,
                                const std::vector<std::string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

std::string Named(const std::string& pattern, const std::string& name) {
  const std::size_t place = pattern.find('@');
  return place == std::string::npos ? pattern : std::string(pattern).replace(place, 1, name);
}

std::string ClosingOf(const SiteWords& words, const std::string& opening) {
  if (!words.closing.empty()) return words.closing;
  return "</" + opening.substr(1, opening.find(' ') - 1) + ">";
}

// In a template the engine takes the blanks before an opening line for a part of its new name.
std::string BlockText(const SiteWords& words, const std::string& opening, const std::string& body,
                      bool in_template) {
  return opening + "\n" + (in_template ? body : Indented(body)) + ClosingOf(words, opening) + "\n";
}

std::string MaybeInBranch(const std::string& text) {
  const int kind = Below(9);
  if (kind <= 5) return text;
  return (kind == 6 ? "{% if $on %}\n" : "{% if $none %}\n") + text + "{% endif %}\n";
}

// A site in a file, or of a template with values and branches.
std::string SiteText(const SiteWords& words, const std::string& name, bool in_template) {
  const auto wrapped = [in_template](const std::string& text) {
    return in_template ? MaybeInBranch(text) : text;
  };
  const auto with_values = [&](const std::vector<std::string>& lines) {
    return in_template ? Joined(lines, words.value_lines) : lines;
  };
  const bool by_value = in_template && name == "a";
  std::string body = Named(by_value ? words.value_name : words.name, name) + "\n";
  for (const std::string& line : Some(with_values(words.lines), 0, in_template ? 4 : 7)) {
    body += wrapped(line + "\n");
  }
  const bool other_inner = in_template && Below(3) == 0;
  const auto inner = other_inner ? Joined(words.inner, words.value_inner) : words.inner;
  for (const std::string& opening : Some(inner, 0, 3)) {
    std::string lines;
    for (const std::string& line : Some(with_values(words.inner_lines), 1, 4)) {
      lines += wrapped(line + "\n");
    }
    body += wrapped(BlockText(words, opening, lines, in_template));
  }
  return BlockText(words, Named(words.site, name), body, in_template);
}

std::string SitesText(const SiteWords& words, const std::string& outer, bool in_template) {
  std::string text;
  const std::vector<std::string> names = {"a", "d", "e", "f"};
  for (const std::string& name : in_template ? Some(names, 1, 3) : Some(names, 3, 5)) {
    const std::string site = SiteText(words, name, in_template);
    text += in_template ? MaybeInBranch(site) : site;
  }
  return outer.empty() ? text : BlockText(words, outer, text, in_template);
}

template <class Testable>
std::string Report(const Testable& testable) {
  const rc::detail::TestResult result = rc::detail::checkTestable(testable);
  if (result.template is<rc::detail::SuccessResult>()) return "";
  std::ostringstream report;
  rc::detail::printResultMessage(result, report);
  return report.str();
}

void Require(const std::string& wrong) {
  if (!wrong.empty()) RC_FAIL(wrong);
}

}  // namespace

std::string ForAllTexts(Law law) {
  return Report([law] { Require(law(*Lines(ConfigLine()))); });
}

std::string ForAllNestings(Law law) {
  return Report([law] { Require(law(*Lines(NestingLine()))); });
}

std::string ForAllEdits(PairLaw law) {
  return Report([law] {
    const std::string config = *Lines(ConfigLine());
    const std::string edits = *Lines(EditLine());
    Require(law(config, edits));
  });
}

std::string ForAllRichEdits(PairLaw law) {
  return Report([law] {
    const std::string config = *Lines(RichConfigLine());
    const std::string edits = *Lines(RichEditLine());
    Require(law(config, edits));
  });
}

std::string ForAllRequests(PairLaw law) {
  return Report([law] {
    const std::string config = *Lines(ConfigLine());
    const std::string text = *Lines(TemplateLine());
    Require(law(config, text));
  });
}

std::string ForAllPaths(PairLaw law) {
  return Report([law] {
    const std::string first = SectionPath(*PathText());
    const std::string second = SectionPath(*PathText());
    Require(law(first, second));
  });
}

std::string ForAllSequences(const std::string& dialect, PairLaw law) {
  const SequenceWords& words = dialect == "nginx" ? kNginxSequences : kApacheSequences;
  return Report([&] {
    const std::string config = SequenceFile(words);
    const std::string steps = SequenceSteps(words);
    Require(law(config, steps));
  });
}

std::string ForAllFilesOf(const std::string& dialect, PairLaw law) {
  const Words& words = dialect == "nginx" ? kNginxWords : kApacheWords;
  const Text file = FileOf(words);
  const Text text = TemplateOf(words);
  return Report([&] {
    const std::string config = *file;
    const std::string template_text = *text;
    Require(law(config, template_text));
  });
}

std::string ForAllPlainSites(const std::string& dialect, PairLaw law) {
  const SiteWords& words = dialect == "nginx" ? kNginxSites : kApacheSites;
  return Report([&] {
    const std::string outer = One(words.outer);
    const std::string config = SitesText(words, outer, false);
    const std::string text = SitesText(words, outer, true);
    Require(law(config, text));
  });
}
