// SPDX-License-Identifier: Apache-2.0

#include "edit/collision_findings.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "edit/address/shown_blocks.h"

namespace tov_edit {
namespace {

constexpr std::size_t kMost = 5;  // are listed

std::string ListOf(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t i = 0; i < std::min(kMost, names.size()); ++i) {
    list += (i == 0 ? "" : ", ") + Quoted(names[i]);
  }
  return names.size() > kMost ? list + " and more" : list;
}

class Writing {
 public:
  Writing(const Contents& contents, const std::string& name, const Collision& collision)
      : m_contents(contents), m_name(name), m_collision(collision) {}

  Finding Run() {
    switch (m_collision.kind) {
      case Collision::Kind::kName:
        SayServers(Answering() + " on " + m_collision.address +
                   ", and the server would ignore all but the first of them");
        break;
      case Collision::Kind::kDefaultServer:
        SayServers("are the default server of " + m_collision.address +
                   ", and nginx takes one of them only");
        break;
      case Collision::Kind::kListenOptions:
        SayListens();
        break;
      case Collision::Kind::kUnserved:
        SayUnserved();
        break;
    }
    return std::move(m_finding);
  }

 private:
  void Add(const std::string& what, std::size_t at) {
    m_finding.message += (m_finding.config_places.empty() ? "" : " and ") + what;
    m_finding.config_places.push_back(m_contents.PlaceOf(m_name, at));
  }

  void SayMore(std::size_t count) {
    if (count > kMost) m_finding.message += " and " + std::to_string(count - kMost) + " more";
  }

  std::string Answering() const {
    const bool nameless = m_collision.names.size() == 1 && m_collision.names.front().empty();
    return nameless ? "state no name" : "answer to " + ListOf(m_collision.names);
  }

  void SayServers(const std::string& what) {
    const auto& servers = m_collision.servers;
    for (std::size_t i = 0; i < std::min(kMost, servers.size()); ++i) {
      Add(Described(m_contents, m_name, servers[i]),
          m_contents.document().blocks()[servers[i]].head.begin);
    }
    SayMore(servers.size());
    m_finding.message += (servers.size() == 2 ? " both " : " all ") + what;
  }

  std::string Line(Span directive) const {
    return Shown(m_contents.PlaceOf(m_name, directive.begin)) + " " +
           Quoted(m_contents.document().Bytes(directive));
  }

  void SayListens() {
    const auto& listens = m_collision.directives;
    for (std::size_t i = 0; i < std::min(kMost, listens.size()); ++i) {
      Add(Line(listens[i]), listens[i].begin);
    }
    SayMore(listens.size());
    m_finding.message += (listens.size() == 2 ? " both " : " all ") +
                         std::string("set options of the socket of ") + m_collision.address +
                         ", and nginx takes them from one of them only";
  }

  void SayUnserved() {
    const BlockId server = m_collision.servers.front();
    m_finding.message = Described(m_contents, m_name, server) + " is for " + m_collision.address +
                        ", on which the server does not listen";
    m_finding.config_places.push_back(m_contents.PlaceOfBlock(m_name, server));
    const auto& listens = m_collision.directives;
    for (std::size_t i = 0; i < std::min(kMost, listens.size()); ++i) {
      m_finding.message += (i == 0 ? "; there are " : ", ") + Line(listens[i]);
      m_finding.config_places.push_back(m_contents.PlaceOf(m_name, listens[i].begin));
    }
    SayMore(listens.size());
  }

  const Contents& m_contents;
  const std::string& m_name;
  const Collision& m_collision;
  Finding m_finding{"collision", ""};
};

}  // namespace

Finding FindingOf(const Contents& contents, const std::string& config_name,
                  const Collision& collision) {
  return Writing(contents, config_name, collision).Run();
}

std::vector<Finding> CollisionsIn(const Contents& contents, const std::string& config_name,
                                  Extent extent) {
  const Document& document = contents.document();
  const auto begin = [&](const Collision& collision) {
    return collision.kind == Collision::Kind::kListenOptions
               ? collision.directives.front().begin
               : document.blocks()[collision.servers.front()].head.begin;
  };
  std::vector<Collision> collisions = AllCollisions(document, extent);
  std::stable_sort(collisions.begin(), collisions.end(),
                   [&](const Collision& a, const Collision& b) { return begin(a) < begin(b); });
  std::vector<Finding> findings;
  for (const Collision& collision : collisions) {
    Finding finding = FindingOf(contents, config_name, collision);
    const std::string_view text = document.text();
    const std::size_t before = text.rfind('\n', begin(collision));
    const std::string_view line = text.substr(before == std::string_view::npos ? 0 : before + 1);
    finding.line_text = line.substr(0, line.find('\n'));
    findings.push_back(std::move(finding));
  }
  return findings;
}

}  // namespace tov_edit
