// SPDX-License-Identifier: Apache-2.0

#include "docs/messy.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <vector>

#include "template/framework/str.h"

namespace {

constexpr char kNginxFront[] =
    R"(	server { listen 127.0.0.1:8091 default_server; server_name _; return 444; }
    # server { server_name commented.out; }
	server
	{
		server_name   front.test
		              www.front.test; # "{"
		listen 127.0.0.1:8092;   root "/var/www/front {}";
		location / {try_files $uri =404;}
		if ($host = 'a}b') { return 404; }
	}
)";

constexpr char kNginxBack[] = R"(
	server {listen 127.0.0.1:8092;
	  server_name back.test "www.back.test";
	  client_max_body_size
	    1m
	    ;
	  location / { } location ~ \.php$ { return 404; }

	}
)";

constexpr char kApacheFront[] = R"(# <VirtualHost 127.0.0.1:8081>
<virtualhost   127.0.0.1:8081 127.0.0.1:8082 >
  servername front.test
  SERVERALIAS www.front.test \
      static.front.test
  DocumentRoot "/var/www/front test"
	# </VirtualHost>
</virtualhost>
<IfModule !no_such_module>
<VirtualHost 127.0.0.1:8444>
ServerName ssl.front.test
	SSLEngine on
	SSLCertificateFile    certs/site.pem
	SSLCertificateKeyFile certs/site.key
</VirtualHost>
</IfModule>
)";

constexpr char kApacheBack[] = R"(
<VirtualHost 127.0.0.1:8081 127.0.0.1:8443>

		ServerName back.test
  DocumentRoot /var/www/back
  <directory /var/www/back>
    Options -Indexes \
            +Includes
  </directory>
</VirtualHost>
)";

struct Line {
  char sign = ' ';
  std::string text;
  std::size_t depth = 0;  // of what it says; a closing line has that of its opening one
  std::size_t block = 0;  // the outermost block that it is of, from 1; 0: none
};

std::string Trimmed(const std::string& text) {
  return str::Trim(text);
}

// Reads the documentation's own style: one directive on a line, braces at the ends of lines.
class Side {
 public:
  // The lines of `example` without those of the sign `other`.
  Side(const Example& example, char other) : m_nginx(example.dialect == "nginx") {
    std::size_t depth = 0;
    for (const std::string& line : example.diff) {
      if (line[0] == other) continue;
      const std::string text = Trimmed(line.substr(1));
      if (Closes(text) && depth > 0) --depth;
      if (depth == 0 && Opens(text)) ++m_blocks;
      const bool inside = depth > 0 || Opens(text) || Closes(text);
      m_lines.push_back({line[0], line.substr(1), depth, inside ? m_blocks : 0});
      if (Opens(text)) ++depth;
    }
  }

  bool Opens(const std::string& text) const {
    if (text.empty() || text[0] == '#') return false;
    return m_nginx ? str::EndsWith(text, "{") : text[0] == '<' && text.compare(0, 2, "</") != 0;
  }

  bool Closes(const std::string& text) const {
    return text.compare(0, m_nginx ? 1 : 2, m_nginx ? "}" : "</") == 0;
  }

  // Whether the example has an http of its own, beside which no sites can stand.
  bool HasHttp() const {
    return std::any_of(m_lines.begin(), m_lines.end(), [this](const Line& line) {
      return m_nginx && line.depth == 0 && str::StartsWith(line.text, "http ");
    });
  }

  // The outermost blocks that are in both texts, in their order: their closing lines stay.
  std::vector<std::size_t> KeptBlocks() const {
    std::vector<std::size_t> kept;
    for (const Line& line : m_lines) {
      if (line.depth == 0 && line.sign == ' ' && Closes(Trimmed(line.text))) {
        kept.push_back(line.block);
      }
    }
    return kept;
  }

  // The first line of `block` that is a directive `name`.
  std::optional<std::size_t> Find(std::size_t block, const std::string& name) const {
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
      const Line& line = m_lines[i];
      if (line.block == block && line.depth == 1 &&
          str::StartsWith(Trimmed(line.text), name + " ")) {
        return i;
      }
    }
    return std::nullopt;
  }

  const std::vector<Line>& lines() const { return m_lines; }
  std::vector<Line>& lines() { return m_lines; }

 private:
  const bool m_nginx;
  std::size_t m_blocks = 0;
  std::vector<Line> m_lines;
};

bool IsPlain(const std::string& text) {
  return !text.empty() && text.find_first_of("\"'#<{}\\(") == std::string::npos;
}

// The same directive with odd blanks, over several lines where it has several arguments.
std::string Spread(bool nginx, const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string::npos || !IsPlain(text.substr(begin))) return text;
  const std::string indentation = text.substr(0, begin);
  std::string result = text;
  const std::size_t last = result.rfind(' ');
  const std::size_t first = result.find(' ', begin);
  if (first == std::string::npos) return text;
  if (last != first) {
    const std::string line_end = nginx ? "\n\n" : " \\\n";
    result.replace(last, 1, line_end + indentation + "\t  ");
  }
  result.replace(first, 1, last == first ? " \t " : "   ");
  if (!nginx) {
    for (std::size_t i = begin; i < first; ++i) {
      if ('A' <= result[i] && result[i] <= 'Z') result[i] = static_cast<char>(result[i] + 32);
    }
  }
  return result;
}

class Messer {
 public:
  Messer(const Example& example, bool with_twin)
      : m_nginx(example.dialect == "nginx"),
        m_wrapped(!IsForTopLevel(example)),
        m_before(example, '+'),
        m_after(example, '-'),
        m_edited(FindEditedBlock()) {
    const std::string name = m_nginx ? "server_name" : "ServerAlias";
    const std::vector<std::size_t> old_blocks = m_before.KeptBlocks();
    const std::vector<std::size_t> new_blocks = m_after.KeptBlocks();
    for (std::size_t i = 0; i < old_blocks.size(); ++i) {
      const std::string alias = "more" + std::to_string(i) + ".test ";
      AddAlias(m_before.Find(old_blocks[i], name), m_after.Find(new_blocks[i], name), alias);
      Comment(m_before, old_blocks[i]);
      Comment(m_after, new_blocks[i]);
    }
    if (with_twin) AddTwin();
  }

  MessyFile Made() {
    MessyFile file;
    if (m_before.HasHttp()) {
      file.before = Text(m_before, true);
      file.after = Text(m_after, false);
      return file;
    }
    file.front = m_nginx ? kNginxFront : kApacheFront;
    file.back = m_nginx ? kNginxBack : kApacheBack;
    file.whole = m_nginx && m_wrapped;
    std::string head;
    std::string tail;
    if (m_wrapped) {
      head = m_nginx ? "events{}\nhttp\n{   access_log off;\n" : "<IfModule !no_such_module>\n";
      tail = m_nginx ? "\t#}\n}\n" : "# the end\n</IfModule>\n";
    }
    file.before = head + file.front + Text(m_before, true) + file.back + tail;
    file.after = head + file.front + Text(m_after, false) + file.back + tail;
    return file;
  }

  // The outermost block that the edit changes, if it is one that has a name of its own and stays.
  std::optional<std::size_t> EditedBlock() const { return m_edited; }

 private:
  std::optional<std::size_t> FindEditedBlock() const {
    const std::vector<std::size_t> kept = m_before.KeptBlocks();
    for (const Side* side : {&m_before, &m_after}) {
      const std::vector<std::size_t> blocks = side->KeptBlocks();
      for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (IsChanged(*side, blocks[i]) && NamesOf(kept[i]) && !IsNamedTwice(kept[i])) {
          return kept[i];
        }
      }
    }
    return std::nullopt;
  }

  bool IsForTopLevel(const Example& example) const {
    for (const char other : {'+', '-'}) {
      const Side side(example, other);
      for (const Line& line : side.lines()) {
        const bool alone = line.block == 0 && line.depth == 0;
        if (alone && line.sign != ' ' && !Trimmed(line.text).empty()) return true;
      }
    }
    return false;
  }

  static bool IsChanged(const Side& side, std::size_t block) {
    return std::any_of(side.lines().begin(), side.lines().end(),
                       [&](const Line& line) { return line.block == block && line.sign != ' '; });
  }

  std::optional<std::string> NamesOf(std::size_t block) const {
    const auto line = m_before.Find(block, m_nginx ? "server_name" : "ServerName");
    if (!line) return std::nullopt;
    return Trimmed(m_before.lines()[*line].text);
  }

  std::string FirstNameOf(std::size_t block) const {
    const std::string names = NamesOf(block).value_or("");
    return names.substr(0, names.find_first_of(" ;", names.find(' ') + 1));
  }

  bool IsNamedTwice(std::size_t block) const {
    const std::string name = FirstNameOf(block);
    std::set<std::size_t> blocks;
    for (const Line& line : m_before.lines()) {
      if (FirstNameOf(line.block) == name) blocks.insert(line.block);
    }
    return blocks.size() > 1;
  }

  void AddAlias(std::optional<std::size_t> before, std::optional<std::size_t> after,
                const std::string& alias) {
    if (!before || !after) return;
    for (std::string* text : {&m_before.lines()[*before].text, &m_after.lines()[*after].text}) {
      const std::size_t name = text->find_first_not_of(" \t");
      text->insert(text->find(' ', name) + 1, alias);
    }
  }

  void Comment(Side& side, std::size_t block) const {
    for (Line& line : side.lines()) {
      if (line.block != block || line.depth != 0 || !side.Opens(Trimmed(line.text))) continue;
      line.text += m_nginx ? " # the customer's }\n# server_name old.test;"
                           : "\n# the customer's </VirtualHost>\n# ServerName old.test";
    }
  }

  void AddTwin() {
    if (!m_edited) return;
    const std::string names = *NamesOf(*m_edited);
    if (m_nginx) {
      m_twin = "server{" + names + " return 301 https://$host$request_uri;" +
               "listen 127.0.0.1:8093;}\n";
    } else {
      m_twin = "<VirtualHost 127.0.0.1:8083>\n" + names +
               "\nRedirect permanent / https://twin.test/\n</VirtualHost>\n";
    }
  }

  std::string Text(const Side& side, bool spread) const {
    std::string text = m_twin;
    for (const Line& line : side.lines()) {
      text += (spread ? Spread(m_nginx, line.text) : line.text) + "\n";
    }
    return text;
  }

  const bool m_nginx;
  const bool m_wrapped;
  Side m_before;
  Side m_after;
  const std::optional<std::size_t> m_edited;
  std::string m_twin;
};

}  // namespace

MessyFile MakeMessy(const Example& example, bool with_twin) {
  return Messer(example, with_twin).Made();
}

bool HasTwin(const Example& example) {
  return Messer(example, false).EditedBlock().has_value();
}
