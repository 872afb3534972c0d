// SPDX-License-Identifier: Apache-2.0

#include "edit/address/telling_apart.h"

#include <algorithm>

#include "document/meaning.h"
#include "edit/match/comparison.h"

namespace tov_edit {
namespace {

using tov_document::kWholeText;

// Of what a block has, so much is compared with all others: to look for more of it pays nobody.
constexpr std::size_t kTried = 100;

std::string NameOnlyIn(const Contents& contents, BlockId block, const Blocks& others) {
  Texts names = tov_document::ServerNames(contents.document(), block);
  names.resize(std::min(names.size(), kTried));
  for (const std::string& name : names) {
    const bool elsewhere = std::any_of(others.begin(), others.end(), [&](BlockId id) {
      return Contains(tov_document::ServerNames(contents.document(), id), name);
    });
    if (elsewhere || name.empty()) continue;
    return (contents.dialect() == Dialect::kNginx ? "server_name " : "ServerName ") + name;
  }
  return std::string();
}

// As the block writes it.
std::string AddressOnlyIn(Contents& contents, BlockId block, const Blocks& others) {
  std::size_t tried = 0;
  for (const Child& child : contents.Of(block)) {
    if (!child.IsDirective() || child.values.size() < 2) continue;
    if (RoleOf(contents.dialect(), child.values.front()) != Role::kAddress) continue;
    if (tried++ == kTried) break;
    const std::string address = tov_document::ListenAddress(child.values);
    const bool elsewhere = std::any_of(others.begin(), others.end(), [&](BlockId id) {
      return Contains(tov_document::ServerAddresses(contents.document(), id), address);
    });
    if (elsewhere) continue;
    const std::string transport = tov_document::TransportIn(child.values);
    return "listen " + child.values[1] + (transport.empty() ? "" : " " + transport);
  }
  return std::string();
}

std::string DirectiveOnlyIn(Contents& contents, Holdings& holdings, BlockId block,
                            const Blocks& others) {
  std::size_t tried = 0;
  for (const Child& child : contents.Of(block)) {
    if (!child.IsDirective() || IsTlsState(child.values.front())) continue;
    if (RoleOf(contents.dialect(), child.values.front()) != Role::kPlain) continue;
    if (tried++ == kTried) break;
    const bool elsewhere = std::any_of(others.begin(), others.end(), [&](BlockId id) {
      return holdings.HasSuch(id, [&](const Child& other) {
        return SameWords(contents.dialect(), child.values, other.values);
      });
    });
    if (elsewhere) continue;
    std::string line;
    for (const tov_document::Word& word : child.words) {
      line += (line.empty() ? "" : " ") + std::string(contents.document().Bytes(word.bytes));
    }
    return line;
  }
  return std::string();
}

}  // namespace

std::string LineOnlyInFirst(Contents& contents, Holdings& holdings, const Evidence& evidence,
                            const Blocks& blocks, bool lines_count) {
  const Dialect dialect = contents.dialect();
  const std::vector<BlockId> others(blocks.begin() + 1, blocks.end());
  const bool is_server = tov_document::IsServer(dialect, contents.HeadOf(blocks.front()).front());
  std::string line;
  if (is_server && !evidence.HasName()) line = NameOnlyIn(contents, blocks.front(), others);
  if (line.empty() && evidence.is_nginx_server && !evidence.HasAddress()) {
    line = AddressOnlyIn(contents, blocks.front(), others);
  }
  if (line.empty() && lines_count)
    line = DirectiveOnlyIn(contents, holdings, blocks.front(), others);
  if (!line.empty() && dialect == Dialect::kNginx) line += ';';
  return line;
}

std::string ConditionOnlyAroundFirst(const Contents& contents, const Blocks& blocks) {
  const Document& document = contents.document();
  const Dialect dialect = contents.dialect();
  const auto around = [&](BlockId id) {
    const BlockId parent = document.blocks()[id].parent;
    return parent == kWholeText ? Texts() : contents.HeadOf(parent);
  };
  const Texts head = around(blocks.front());
  if (head.empty() || !tov_document::IsCondition(dialect, head.front())) return std::string();
  const bool elsewhere = std::any_of(blocks.begin() + 1, blocks.end(), [&](BlockId id) {
    const Texts other = around(id);
    return SameHead(dialect, head, other);
  });
  if (elsewhere) return std::string();
  const BlockId parent = document.blocks()[blocks.front()].parent;
  return std::string(document.Bytes(document.blocks()[parent].head));
}

}  // namespace tov_edit
