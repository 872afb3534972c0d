// SPDX-License-Identifier: Apache-2.0

// The nginx dialect.
#pragma once

#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "template/export.h"
#include "template/line_list_config.h"
#include "template/line_registry.h"

namespace tov_template {

// An nginx configuration. See BaseConfig for what each operation is for; here stands what it means
// for nginx.
//
// A block is identified by its opening line, the first name of its server_name, and whether it
// holds an "ssl" or "ssl_prefer_server_ciphers" directive. Lines that begin with "listen" are
// managed here: a block's listen lines are added once each, removed by the address they name, and
// replaced as a group.
class QELTEMPLATE_EXPORT Nginx : public LineListConfig {
 public:
  // One address of a listen directive.
  struct Listen {
    std::string address;  // "127.0.0.1:80", "[::1]:443"; "" for a port alone, a socket, a host name
    std::string options;  // the words after the addresses, without ";"

    // The record as a directive line without indentation: "listen 127.0.0.1:80 ssl;".
    std::string Str() const;
  };

  // `text` is the whole text of the configuration; it may be empty.
  explicit Nginx(const std::string& text);

  // True when the trimmed line ends with "{" and has no "#" in it. A one-line block
  // ("location / { return 404; }") opens none.
  bool StartsSection(const std::string& line) const override;

  // True when the trimmed line begins with "}".
  bool EndedSection(const std::string& line) const override;

  // Adds "server_name", "ssl" and "ssl_prefer_server_ciphers".
  void GetIdentParams(std::set<std::string>& names) const override;

  // `name`, then "server_name" with the first name of that directive, then "ssl on" when there is
  // an ssl or ssl_prefer_server_ciphers directive, whatever its value:
  //
  //   MakeSectionPath("server {", {{"server_name", "server_name a b;"}})   // "server { server_name
  //   a"
  //
  // The names are left out while they still hold a template's "{%".
  std::string MakeSectionPath(const std::string& name,
                              const std::map<std::string, std::string>& idents) const override;

  std::string GetCommentChar() const override { return "#"; }
  std::string GetTermChar() const override { return ";"; }

  // True for a trimmed line that begins with "listen", also as the beginning of a longer word.
  bool IsUniqueParam(const std::string& line) const override;

  // Records the line as one of the listens of `section`. Returns `pos`.
  LineIterator RegisterUniqueParam(const std::string& section, LineIterator& pos) override;

  // Makes one line for each address of `text` that no registered line of `section` carries yet;
  // lines are compared whole, without their indentation.
  LineIterator AppendUniqueParam(const std::string& section, const LineIterator& pos,
                                 const std::string& text) override;

  // Hands back the registered lines of `section` that begin with an address of `text`; what stands
  // behind the ";" does not matter. `flag` is not used.
  void RemoveUniqueParam(const std::string& section, const std::string& text, bool flag,
                         std::list<LineIterator>& removed) override;

  // Makes one line for each address of `text` before `pos` and hands back all lines registered for
  // `section` before. Does nothing for a section that never had a listen line. `pos` is not moved.
  void ChangeUniqueParam(const std::string& section, LineIterator& pos, const std::string& text,
                         std::list<LineIterator>& removed) override;

  // The directive's name for a line whose first word is "ssl_ciphers" or "ssl_protocols"; any other
  // line unchanged.
  std::string GetKeyFieldConstParam(const std::string& line) const override;

  std::vector<LineIterator> RegisteredLines() const override;

  // Appends one record for each address of the listen directive `line` to `out`, all with the same
  // options. Without an address, one record that holds the whole directive as its options; nothing
  // when that is empty. A word such as "localhost:8080" is neither an address nor an option and
  // vanishes. Cost: linear in `line`, plus the options once for each address.
  static void ParseListen(const std::string& line, std::vector<Listen>& out);

  // `text` behind one tab for each level of `section`.
  std::string SetIndent(const std::string& section, const std::string& text) const;

 protected:
  void ForgetLine(const LineIterator& line) override;
  void LineChanged(const LineIterator& line) override { m_registry.Changed(line); }

  // Section path -> its listen lines, as registered or made. Never refers to an erased line.
  std::map<std::string, std::list<LineIterator>> m_listen;

 private:
  friend struct IndexAudit;  // compares it with a fresh one, in tests

  QELTEMPLATE_LOCAL static LineLook Look(const std::string& line);
  LookAtLine GetLookAtLine() const override;
  bool CanRegisterLate(std::size_t depth, const std::vector<LineIterator>& lines) const override;
  QELTEMPLATE_LOCAL LineIterator MakeListen(const std::string& section, LineRegistry::List& listens,
                                            const LineIterator& pos, const std::string& listen);

  LineRegistry m_registry;  // of the lists in m_listen
};

}  // namespace tov_template
