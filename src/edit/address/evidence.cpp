// SPDX-License-Identifier: Apache-2.0

#include "edit/address/evidence.h"

#include <algorithm>
#include <utility>

#include "document/meaning.h"

namespace tov_edit {
namespace {

using Kind = TemplateLine::Kind;

std::optional<std::string> FirstName(Dialect dialect, const Texts& words) {
  const std::size_t enough = std::min<std::size_t>(2, words.size());
  const Texts names =
      NamesIn(dialect, {words.begin(), words.begin() + static_cast<std::ptrdiff_t>(enough)});
  if (names.empty()) return std::nullopt;
  return names.front();
}

std::optional<std::string> FirstName(Dialect dialect, const WrittenPtr& written) {
  return written ? FirstName(dialect, written->words) : std::nullopt;
}

class EvidenceReader {
 public:
  EvidenceReader(const TemplateTree& tree, Dialect dialect, Findings& findings)
      : m_tree(tree), m_dialect(dialect), m_findings(findings) {}

  Evidence Read(std::size_t number) {
    const TemplateBlock& block = m_tree.blocks[number];
    m_evidence = Evidence();
    m_evidence.opening = &m_tree.lines[block.opening];
    m_evidence.enabled = block.enabled;
    m_is_server = IsServerHead(*m_evidence.opening);
    m_evidence.is_nginx_server = m_is_server && m_dialect == Dialect::kNginx;
    for (const std::size_t child : block.children) {
      const TemplateLine& line = m_tree.lines[child];
      if (line.kind == Kind::kOpening) {
        (line.enabled == block.enabled ? m_evidence.blocks : m_evidence.going_blocks)
            .push_back(line.block);
      }
      // A line of another branch does not stand in the block that is meant.
      if (line.enabled != block.enabled) {
        m_evidence.says_something = m_evidence.says_something || line.kind == Kind::kDirective;
        continue;
      }
      m_evidence.says_something = true;
      if (line.kind == Kind::kDirective) {
        ReadLine(line);
      }
    }
    return std::move(m_evidence);
  }

 private:
  static const Texts* AnyWords(const TemplateLine& line) {
    if (line.was && !line.was->words.empty()) return &line.was->words;
    if (line.now && !line.now->words.empty()) return &line.now->words;
    return line.beginning && !line.beginning->words.empty() ? &line.beginning->words : nullptr;
  }

  bool IsServerHead(const TemplateLine& opening) const {
    const Texts* const words = AnyWords(opening);
    return words != nullptr && tov_document::IsServer(m_dialect, words->front());
  }

  // The directive's name where its values are missing.
  std::string DirectiveName(const TemplateLine& line) const {
    const Texts* const words = AnyWords(line);
    return words == nullptr ? line.text.substr(0, line.text.find_first_of(" \t{[;"))
                            : words->front();
  }

  void ReadLine(const TemplateLine& line) {
    const std::string name = DirectiveName(line);
    if (m_is_server && SaysName(m_dialect, name)) {
      if (m_evidence.naming == nullptr) ReadName(line);
    } else if (m_is_server && RoleOf(m_dialect, name) == Role::kAddress) {
      ReadAddress(line);
    } else if (!IsTlsState(name) && !line.beginning && !line.raw) {
      if (line.old_given && line.was) {
        m_evidence.changed.push_back(&line);
      } else if (line.now) {
        m_evidence.others.push_back(&line);
      }
    }
  }

  void ReadName(const TemplateLine& line) {
    m_evidence.naming = &line;
    const bool missing = m_evidence.enabled ? !line.now : !line.now && !line.was;
    if (missing && (!line.beginning || line.old_given)) RefuseMissing(line);
    if (line.beginning) {
      m_evidence.old_name = FirstName(m_dialect, line.beginning->words);
      if (line.new_beginning) {
        m_evidence.new_name = FirstName(m_dialect, line.new_beginning->words);
      }
      return;
    }
    m_evidence.old_name = FirstName(m_dialect, line.was);
    m_evidence.new_name = FirstName(m_dialect, line.now);
  }

  void RefuseMissing(const TemplateLine& line) {
    m_findings.refusals.push_back(
        {"missing-value",
         "a value is missing in the line by which the block is found: " + Quoted(line.text),
         "Set it",
         line.place,
         {},
         false,
         line.missing});
  }

  void ReadAddress(const TemplateLine& line) {
    const auto add = [](Texts words, const WrittenPtr& written, Texts& addresses) {
      if (words.size() < 2) return;
      // The transport may be among the values of a trailing place.
      if (written) words.insert(words.end(), written->words.begin(), written->words.end());
      addresses.push_back(tov_document::ListenAddress(words));
    };
    if (line.beginning) {
      add(line.beginning->words, line.was ? line.was : line.now, m_evidence.old_addresses);
      if (line.new_beginning) add(line.new_beginning->words, line.now, m_evidence.new_addresses);
      return;
    }
    if (line.was) add(line.was->words, nullptr, m_evidence.old_addresses);
    if (line.now) add(line.now->words, nullptr, m_evidence.new_addresses);
  }

  const TemplateTree& m_tree;
  const Dialect m_dialect;
  Findings& m_findings;
  Evidence m_evidence;
  bool m_is_server = false;
};

}  // namespace

std::vector<const std::string*> Evidence::Names() const {
  std::vector<const std::string*> names;
  if (!HasName()) names.push_back(nullptr);
  if (old_name) names.push_back(&*old_name);
  if (new_name && new_name != old_name) names.push_back(&*new_name);
  return names;
}

Evidence ReadEvidence(const TemplateTree& tree, Dialect dialect, std::size_t number,
                      Findings& findings) {
  return EvidenceReader(tree, dialect, findings).Read(number);
}

AllEvidence::AllEvidence(const TemplateTree& tree, Dialect dialect) : blocks(1) {
  blocks.reserve(tree.blocks.size());
  for (std::size_t i = 1; i < tree.blocks.size(); ++i) {
    blocks.push_back(ReadEvidence(tree, dialect, i, findings));
  }
}

bool IsTlsState(std::string_view name) {
  return name == "ssl" || name == "ssl_prefer_server_ciphers";
}

}  // namespace tov_edit
