// SPDX-License-Identifier: Apache-2.0

// Damaged texts: does the Document take what the real httpd takes, and nothing else?
//
// In full is judged: a text that httpd reads and carries out (no error), and one that httpd refuses
// for its lines and sections (an error in the same line). In part: a text at which httpd stops for
// another reason, an unknown section for example; up to there the Document has to have no error.
// And one with two faults of which httpd speaks of the second, because the first is an opening line
// without its ">". Of no use is a text in which a condition does not hold, since httpd does not
// read what stands in it and the Document does.
//
// Deliberately the Document differs in one thing: a condition that does not close is an error, for
// which httpd has no word when the condition holds; Httpd::Read makes it visible.
#include "document/apache/mutants.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "document/apache/document_events.h"
#include "document/apache/httpd.h"
#include "document/apache/lines.h"
#include "document/apache/second_reader.h"
#include "document/apache/texts.h"
#include "document/cases.h"
#include "document/document.h"
#include "document/places.h"

namespace {

using tov_document::Dialect;
using tov_document::Document;
using tov_document::Places;
using tov_document::Problem;
using tov_document::SyntaxError;

const std::size_t cases_with_httpd = Cases(150);

// How many more are judged without httpd.
#ifdef _GLIBCXX_DEBUG
constexpr std::size_t without_httpd = 5;  // with checked containers each costs many times as much
#else
constexpr std::size_t without_httpd = 50;
#endif

bool IsCondition(const std::string& name) {
  const std::string lower = second_reader::LowerCase(name);
  return lower == "ifmodule" || lower == "ifdefine" || lower == "ifversion" || lower == "iffile" ||
         lower == "ifdirective" || lower == "ifsection";
}

// Whether all conditions hold: those of ReadThrough that are as they were, or still negated.
bool Hold(const std::string& text) {
  for (const second_reader::Event& event : second_reader::Read(text).events) {
    if (event.kind != second_reader::Kind::kOpen || !IsCondition(event.words[0].value)) continue;
    if (event.words.size() < 2) return false;
    const std::string& argument = event.words[1].value;
    const bool version =
        argument == ">=" && event.words.size() == 3 && event.words[2].value == "2.4";
    if (text[event.words[1].bytes.begin] != '!' && !version) return false;
  }
  return true;
}

// `text` with blanks in the place of its plain directives, so that httpd, when it carries out the
// sections, does not stop at an unknown one. That the lines are read rightly has been judged
// before: a section among them would leave its other line behind.
std::string WithoutDirectives(const std::string& text) {
  std::string sections = text;
  for (const second_reader::Event& event : second_reader::Read(text).events) {
    if (event.kind != second_reader::Kind::kDirective) continue;
    for (std::uint32_t i = event.bytes.begin; i < event.bytes.end; ++i) {
      if (sections[i] != '\n') sections[i] = ' ';
    }
  }
  return sections;
}

enum class Judged { kRight, kRightInPart, kWrong };

// The lines, with those that continue them, on which the Document's error is.
struct ErrorLines {
  std::size_t first = 0;
  std::size_t last = 0;
};

ErrorLines LinesOf(const std::string& text, const SyntaxError& error) {
  const Places places(text);
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  while (end <= error.at && end < text.size()) {
    begin = end;
    end = second_reader::LineAt(text, begin).in_text.end;
  }
  return {places.Of(begin).line, places.Of(end == 0 ? 0 : end - 1).line};
}

bool LacksBracket(const SyntaxError& error) {
  return error.problem == Problem::kNoBracket;
}

// What does not close is said to be where it begins.
bool IsFoundAtTheEnd(const SyntaxError& error) {
  return error.problem == Problem::kUnclosedBlock || error.problem == Problem::kUnclosedCode;
}

Judged RightIf(bool right) {
  return right ? Judged::kRight : Judged::kWrong;
}
Judged RightInPartIf(bool right) {
  return right ? Judged::kRightInPart : Judged::kWrong;
}

// Of a text whose lines httpd can read. Whether sections have their ">" it sees when it carries
// them out.
Judged JudgeRead(const std::string& text, const std::optional<SyntaxError>& error,
                 const Answer& carried) {
  if (carried.kind == Answer::Kind::kReads) return RightIf(!error);
  if (!error) return RightInPartIf(carried.kind == Answer::Kind::kStopped);
  if (!LacksBracket(*error)) return Judged::kWrong;
  const ErrorLines lines = LinesOf(text, *error);
  if (carried.kind == Answer::Kind::kStopped) return RightInPartIf(lines.last > carried.line);
  return RightIf(carried.line >= lines.first && carried.line <= lines.last);
}

Judged Judge(const std::string& text, const std::optional<SyntaxError>& error, const Answer& read,
             const Answer& carried) {
  if (read.kind == Answer::Kind::kReads) return JudgeRead(text, error, carried);
  if (!error) return RightInPartIf(read.kind == Answer::Kind::kStopped);
  const ErrorLines lines = LinesOf(text, *error);
  if (lines.last < read.line && LacksBracket(*error)) return Judged::kRightInPart;
  switch (read.kind) {
    case Answer::Kind::kUnclosed:
      return RightIf(IsFoundAtTheEnd(*error));
    case Answer::Kind::kSyntaxError:
      return RightIf(read.line >= lines.first && read.line <= lines.last);
    default:
      return RightInPartIf(lines.last >= read.line || IsFoundAtTheEnd(*error));
  }
}

std::string Show(const Answer& answer) {
  if (answer.kind == Answer::Kind::kReads) return "yes";
  return "line " + std::to_string(answer.line) + ": " + answer.message;
}

struct Case {
  std::string name;
  std::string text;
};

class Judges {
 public:
  void Judge(const std::vector<Case>& cases);

  std::size_t m_in_full = 0;
  std::size_t m_in_part = 0;
  std::size_t m_of_no_use = 0;

 private:
  void Judge(const Case& judged, const Answer& read, const Answer& carried);

  Httpd m_httpd;
};

void Judges::Judge(const std::vector<Case>& cases) {
  std::vector<std::string> texts;
  texts.reserve(cases.size());
  for (const Case& judged : cases) texts.push_back(judged.text);
  const std::vector<Answer> read = m_httpd.Read(texts);
  std::vector<std::string> readable;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (read[i].kind == Answer::Kind::kReads) readable.push_back(WithoutDirectives(texts[i]));
  }
  const std::vector<Answer> carried = m_httpd.CarryOut(readable);
  std::size_t next_carried = 0;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const bool reads = read[i].kind == Answer::Kind::kReads;
    Judge(cases[i], read[i], reads ? carried[next_carried++] : Answer{});
  }
}

void Judges::Judge(const Case& judged, const Answer& read, const Answer& carried) {
  if (!Hold(judged.text)) {
    ++m_of_no_use;
    return;
  }
  const Document document(Dialect::kApache, judged.text);
  const std::optional<SyntaxError>& error = document.error();
  switch (::Judge(judged.text, error, read, carried)) {
    case Judged::kRight:
      ++m_in_full;
      return;
    case Judged::kRightInPart:
      ++m_in_part;
      return;
    case Judged::kWrong:
      break;
  }
  ADD_FAILURE() << judged.name << "\nread: " << Show(read) << "\ncarried out: " << Show(carried)
                << "\nDocument: "
                << (error ? "line " + std::to_string(Places(judged.text).Of(error->at).line) +
                                ": " + Describe(*error)
                          : "no error")
                << "\n"
                << (judged.text.size() < 4000 ? judged.text : "");
}

TEST(Mutants, AreErrorsWhereHttpdCannotReadThem) {
  std::vector<Case> texts;
  for (const auto& [name, text] : Texts()) texts.push_back({name, ReadThrough(text)});
  std::mt19937 random = RandomOfCases();
  Judges judges;
  const std::size_t at_once = 50;
  for (std::size_t left = cases_with_httpd; left > 0;) {
    std::vector<Case> cases(std::min(left, at_once));
    for (Case& mutant : cases) {
      mutant = texts[random() % texts.size()];
      mutant.text = Mutant(mutant.text, random);
    }
    judges.Judge(cases);
    left -= cases.size();
  }
  std::cout << "judged in full " << judges.m_in_full << ", in part " << judges.m_in_part
            << ", of no use " << judges.m_of_no_use << "\n";
  EXPECT_GE(judges.m_in_full, cases_with_httpd / 2);
  EXPECT_LE(judges.m_of_no_use, cases_with_httpd / 10);
}

// Without httpd many more can be looked at, and their words, too.
TEST(Mutants, AreReadAsTheSecondReaderReadsThem) {
  std::vector<Case> texts;
  for (const auto& [name, text] : Texts()) {
    if (text.size() < 20'000) texts.push_back({name, text});
  }
  std::mt19937 random = RandomOfCases();
  for (std::size_t i = 0; i < without_httpd * cases_with_httpd; ++i) {
    const Case& original = texts[random() % texts.size()];
    EXPECT_EQ(Difference(Mutant(original.text, random)), "") << original.name;
  }
}

TEST(Texts, AreReadAsTheSecondReaderReadsThem) {
  for (const auto& [name, text] : Texts()) EXPECT_EQ(Difference(text), "") << name;
}

TEST(Texts, AreErrorsWhereHttpdCannotReadThem) {
  std::vector<Case> cases;
  for (const auto& [name, text] : Texts()) cases.push_back({name, ReadThrough(text)});
  Judges judges;
  judges.Judge(cases);
  std::cout << "judged in full " << judges.m_in_full << ", in part " << judges.m_in_part << "\n";
  EXPECT_GE(judges.m_in_full, cases.size() * 3 / 4);
  EXPECT_EQ(judges.m_of_no_use, 0U);
}

}  // namespace
