// SPDX-License-Identifier: Apache-2.0

// A view that takes blocks when edits ask for them, against one with whole maps: after each step
// both have the same text, the same index, the same register and the same log, and every reference
// of either is true. What the one has not registered yet counts as what it would be; and once,
// after some of the steps, it has to be registered. The one is over a dialect as the library makes
// it, which is read at a glance, the other over one that is derived from it, which is asked one
// question after the other.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "model/comparison.h"
#include "property/random_input.h"
#include "support/index_audit.h"
#include "support/log_capture.h"
#include "support/merging_dialect.h"
#include "support/real_configs.h"
#include "support/template_probe.h"
#include "template/apache.h"
#include "template/framework/str.h"
#include "template/nginx.h"

using model::Differ;
using tov_template::Apache;
using tov_template::IndexAudit;
using tov_template::kSectionSeparator;
using tov_template::LineIterator;
using tov_template::Nginx;

namespace {

// The merging dialect, with blocks that take another path when they close.
struct Merging : MergingDialect {
  using MergingDialect::MergingDialect;

  void GetIdentParams(std::set<std::string>& names) const override {
    names.insert({"index", "server_name"});
  }
  IndexAudit::RegisteredLines Registered() const {
    IndexAudit::RegisteredLines registered;
    for (const auto& [section, line] : m_merged) registered[section] = {line};
    return registered;
  }
};

std::vector<std::string> WordsOf(const std::string& line) {
  std::istringstream words(line);
  return {std::istream_iterator<std::string>(words), {}};
}

// What a dialect has registered, and what is still `to_come` as it would be.

IndexAudit::RegisteredLines Registered(const Merging& merging,
                                       const IndexAudit::RegisteredLines& to_come) {
  EXPECT_TRUE(to_come.empty());
  return merging.Registered();
}

IndexAudit::RegisteredLines Registered(const Nginx& nginx,
                                       const IndexAudit::RegisteredLines& to_come) {
  IndexAudit::RegisteredLines registered = IndexAudit::Registered(nginx);
  for (const auto& [section, lines] : to_come) registered.emplace(section, lines);
  return registered;
}

IndexAudit::RegisteredLines Registered(const Apache& apache,
                                       const IndexAudit::RegisteredLines& to_come) {
  IndexAudit::RegisteredLines registered = IndexAudit::Registered(apache);
  for (const auto& [section, lines] : to_come) {
    for (const LineIterator& line : lines) {
      const std::string name = WordsOf(*line).front();
      registered[section + '\x1f' + (name == "Options" ? "" : name)].push_back(line);
    }
  }
  return registered;
}

// The words of merged lines, in the same way.

std::string Words(const tov_template::BaseConfig& /*dialect*/,
                  const IndexAudit::RegisteredLines& /*to_come*/) {
  return "";
}

std::string Words(const Apache& apache, const IndexAudit::RegisteredLines& to_come) {
  std::map<std::string, std::list<std::string>> words = IndexAudit::Words(apache);
  for (const auto& [section, lines] : to_come) {
    for (const LineIterator& line : lines) {
      const std::vector<std::string> own = WordsOf(*line);
      if (own.front() == "Options") words.emplace(section, std::list(own.begin(), own.end()));
    }
  }
  std::string shown;
  for (const auto& [section, own] : words) shown += section + ": " + str::Join(own, ",") + "\n";
  return shown;
}

struct AskedNginx : Nginx {
  using Nginx::Nginx;
};

struct AskedApache : Apache {
  using Apache::Apache;
};

// A template whose view has whole maps, or takes blocks on demand.
class Probe : public TemplateProbeValues, public tov_template::Template {
 public:
  using Maps = ConfigView::Maps;

  Probe(const std::shared_ptr<tov_template::BaseConfig>& config, Maps maps)
      : Template(config, old_values, new_values, maps) {}

  using Template::m_lines;

  std::string Text() const { return m_config->Str(); }

  static constexpr Maps kWhole = Maps::kWhole;
  static constexpr Maps kOnDemand = Maps::kOnDemand;
};

// A text in a dialect, and the view of it.
template <class Dialect>
class Side {
 public:
  Side(const std::string& config, Probe::Maps maps)
      : m_maps(maps), m_dialect(std::make_shared<Dialect>(config)) {
    MakeProbe();
  }

  void MakeProbe() {
    m_probe.reset();
    m_probe = std::make_unique<Probe>(m_dialect, m_maps);
  }

  template <class Operation>
  void Do(Operation operation) {
    const LogCapture log;
    operation(*m_probe);
    for (const std::string& message : log.Messages()) m_messages.push_back(message);
  }

  // Has everything registered that is still to come.
  void RegisterRest() {
    m_dialect->SharedLine("no block", "no directive");
    EXPECT_EQ(NumberToRegister(), 0U);
  }

  std::size_t NumberToRegister() const { return IndexAudit::ToRegister(*m_probe).size(); }

  IndexAudit::WholeMaps Maps() const { return IndexAudit::WholeMapsOf(*m_probe); }
  bool IsPartial() const { return IndexAudit::IsPartial(*m_probe); }

  // All of it, with lines by their places in the text; or what is wrong with it.
  std::string Shown() const {
    const std::string wrong = IndexAudit::WrongIn(*m_probe);
    if (!wrong.empty()) return "wrong: " + wrong;
    std::map<const std::string*, std::size_t> numbers;
    for (const std::string& line : *m_probe->m_lines) numbers.emplace(&line, numbers.size());
    const NumberOf number_of{numbers, m_probe->m_lines->end()};
    const IndexAudit::RegisteredLines to_come = IndexAudit::ToRegister(*m_probe);
    return m_probe->Text() + "\n--" +
           model::Numbers(Maps(), Registered(*m_dialect, to_come), number_of) + "\n--\n" +
           Words(*m_dialect, to_come) + "--\n" + model::Joined(m_messages);
  }

 private:
  struct NumberOf {
    const std::map<const std::string*, std::size_t>& numbers;
    LineIterator end;

    std::size_t operator()(const LineIterator& line) const {
      return line == end ? numbers.size() : numbers.at(&*line);
    }
    std::size_t operator()(const ConfParam& param) const { return (*this)(param.m_line); }
  };

  const Probe::Maps m_maps;
  const std::shared_ptr<Dialect> m_dialect;
  std::unique_ptr<Probe> m_probe;
  std::vector<std::string> m_messages;
};

// How often a view has been compared while it had left blocks where it read them, and how often it
// had not.
struct Count {
  std::size_t partial = 0;
  std::size_t whole = 0;
  std::size_t late = 0;        // with something still to be registered
  std::size_t registered = 0;  // something was, because somebody asked for all of it
};

Count& Counted() {
  static Count counted;
  return counted;
}

template <class Dialect, class AskedDialect>
class Twins {
 public:
  explicit Twins(const std::string& config)
      : m_partial(config, Probe::kOnDemand), m_whole(config, Probe::kWhole) {}

  // Has the dialect show what it has registered.
  std::string Ask() {
    if (m_partial.NumberToRegister() != 0) ++Counted().registered;
    m_partial.RegisterRest();
    return Difference();
  }

  std::string Difference() const {
    ++(m_partial.IsPartial() ? Counted().partial : Counted().whole);
    if (m_partial.NumberToRegister() != 0) ++Counted().late;
    return Differ("all", m_partial.Shown(), m_whole.Shown());
  }

  // Does what the line `step` says, see ForAllSequences. Returns the first difference, or "".
  std::string Do(std::string_view step) {
    if (str::view::StartsWith(step, "parser")) {
      m_partial.MakeProbe();
      m_whole.MakeProbe();
      return Difference();
    }
    if (str::view::StartsWith(step, "template")) return ApplyTemplate(step);
    return Apply(model::ParseEdit(m_whole.Maps(), step));
  }

  std::string Apply(const model::Edit& edit) {
    const std::string difference = Both([&](auto& view) { model::ApplyTo(view, edit); });
    return difference.empty() ? "" : "after " + model::Readable(edit) + ":\n" + difference;
  }

  // The blocks of the text as it is.
  IndexAudit::WholeMaps Maps() const { return m_whole.Maps(); }

 private:
  template <class Operation>
  std::string Both(Operation operation) {
    m_partial.Do(operation);
    m_whole.Do(operation);
    return Difference();
  }

  std::string ApplyTemplate(std::string_view step) {
    str::view::GetWord(step, '\x1f');
    const std::string old_value(str::view::GetWord(step, '\x1f'));
    const std::string new_value(str::view::GetWord(step, '\x1f'));
    const std::string text = str::Replace(std::string(step), "\x1e", "\n");
    const std::string difference = Both([&](Probe& probe) {
      probe.old_values["n"] = old_value;
      probe.new_values["n"] = new_value;
      probe.SetTemplate(text);
      probe.ApplyTemplate(false);
      probe.ApplyTemplate(true);
      probe.RemoveEmptySections();
    });
    return difference.empty() ? "" : "after the template\n" + text + "\n:" + difference;
  }

  Side<Dialect> m_partial;
  Side<AskedDialect> m_whole;
};

template <class Dialect, class AskedDialect>
std::string EveryStepAgrees(const std::string& config, const std::string& steps) {
  const auto number = static_cast<std::size_t>(std::count(steps.begin(), steps.end(), '\n'));
  const std::size_t asked_after = config.size() % (number + 1);  // any of them
  Twins<Dialect, AskedDialect> twins(config);
  std::string difference = twins.Difference();
  std::size_t done = 0;
  for (std::string_view rest = steps; difference.empty() && !rest.empty(); ++done) {
    if (done == asked_after) difference = twins.Ask();
    if (difference.empty()) difference = twins.Do(str::view::GetWord(rest, '\n'));
  }
  return difference;
}

template <class Dialect, class AskedDialect>
std::string ReadingAgrees(const std::string& config) {
  Twins<Dialect, AskedDialect> twins(config);
  const std::string difference = twins.Difference();
  return difference.empty() ? twins.Ask() : difference;
}

// The same lines in the syntax of the merging dialect.
std::string InMerging(const std::string& text) {
  const std::string lines = str::Replace(str::Replace(text, "{", "("), "}", ")");
  return str::Replace(str::Replace(lines, "root", "set"), "listen", "set");
}

std::string EveryStepAgreesWhereLinesMerge(const std::string& config, const std::string& steps) {
  return EveryStepAgrees<Merging, Merging>(InMerging(config), InMerging(steps));
}

// The same lines as blocks and directives of Apache.
std::string InApache(const std::string& text) {
  std::string lines;
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = str::view::GetWord(rest, '\n');
    if (str::view::EndsWith(str::view::Trim(line), "{")) {
      lines += "<" + str::Replace(std::string(line), "{", ">");
    } else if (str::view::StartsWith(str::view::Trim(line), "}")) {
      lines += "</x>";
    } else {
      lines +=
          str::Replace(str::Replace(std::string(line), "root", "Options"), "listen", "ServerAlias");
    }
    lines += "\n";
  }
  return lines;
}

std::string ReadingApacheAgrees(const std::string& config) {
  return ReadingAgrees<Apache, AskedApache>(InApache(config));
}

std::string ReadingMergedAgrees(const std::string& config) {
  return ReadingAgrees<Merging, Merging>(InMerging(config));
}

// Runs `law`, which has to hold, and have looked at both kinds of views.
template <class ForAll>
void Check(ForAll for_all) {
  Counted() = {};
  EXPECT_EQ(for_all(), "");
  EXPECT_GT(Counted().partial, 5U);
  EXPECT_GT(Counted().whole, 5U);
}

// The same, and at views that have left blocks for the dialect to register later.
template <class ForAll>
void CheckLate(ForAll for_all) {
  Check(for_all);
  EXPECT_GT(Counted().late, 0U);
  EXPECT_GT(Counted().registered, 0U);
}

// --- On random inputs ---

TEST(OnDemand, ReadingEqualsWhole) {
  CheckLate([] { return ForAllTexts(ReadingAgrees<Nginx, AskedNginx>); });
  CheckLate([] { return ForAllTexts(ReadingApacheAgrees); });
  EXPECT_EQ(ForAllTexts(ReadingMergedAgrees), "");
}

TEST(OnDemand, EqualsWholeAfterEveryEdit) {
  CheckLate([] { return ForAllEdits(EveryStepAgrees<Nginx, AskedNginx>); });
}

TEST(OnDemand, EqualsWholeAfterEveryOddEdit) {
  CheckLate([] { return ForAllRichEdits(EveryStepAgrees<Nginx, AskedNginx>); });
}

TEST(OnDemand, EqualsWholeWhereLinesMerge) {
  Check([] { return ForAllRichEdits(EveryStepAgreesWhereLinesMerge); });
}

TEST(OnDemand, EqualsWholeAfterEveryStepOfNginx) {
  CheckLate([] { return ForAllSequences("nginx", EveryStepAgrees<Nginx, AskedNginx>); });
}

TEST(OnDemand, EqualsWholeAfterEveryStepOfApache) {
  CheckLate([] { return ForAllSequences("apache", EveryStepAgrees<Apache, AskedApache>); });
}

}  // namespace
