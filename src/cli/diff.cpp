#include "cli/diff.h"

#include <git2.h>

#include <algorithm>
#include <cstdint>
#include <memory>

#include "cli/failure.h"
#include "cli/text_io.h"

namespace cli {
namespace {

constexpr std::uint32_t kContextLines = 3;

// The diff library has to be started before its first use, and stopped.
class DiffLibrary {
 public:
  DiffLibrary() { git_libgit2_init(); }
  ~DiffLibrary() { git_libgit2_shutdown(); }
  DiffLibrary(const DiffLibrary&) = delete;
  DiffLibrary& operator=(const DiffLibrary&) = delete;
};

struct PatchDeleter {
  void operator()(git_patch* patch) const { git_patch_free(patch); }
};
using Patch = std::unique_ptr<git_patch, PatchDeleter>;

void Check(int result, const std::string& name) {
  if (result >= 0) return;
  const git_error* error = git_error_last();
  throw Failure(name, std::string("cannot be compared: ") + (error ? error->message : "unknown"));
}

Patch Compare(const std::string& before, const std::string& after, const std::string& name) {
  git_diff_options options;
  Check(git_diff_options_init(&options, GIT_DIFF_OPTIONS_VERSION), name);
  options.flags = GIT_DIFF_FORCE_TEXT | GIT_DIFF_INDENT_HEURISTIC;
  options.context_lines = kContextLines;
  options.max_size = -1;  // beyond it, a text would count as binary
  git_patch* patch = nullptr;
  Check(git_patch_from_buffers(&patch, before.data(), before.size(), nullptr, after.data(),
                               after.size(), nullptr, &options),
        name);
  return Patch(patch);
}

bool NeedsQuotes(const std::string& name) {
  return std::any_of(name.begin(), name.end(), [](char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '"' || c == '\\';
  });
}

std::string Quoted(const std::string& name) {
  std::string quoted = "\"";
  for (const char c : name) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (byte < ' ') {
      quoted += {'\\', '0', static_cast<char>('0' + byte / 8), static_cast<char>('0' + byte % 8)};
      continue;
    }
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

// A header line's name as patch(1) reads it back: with odd bytes in C's notation, and with a tab
// behind a file's name that holds spaces, which would otherwise end at the first.
std::string HeaderName(const std::string& name) {
  if (NeedsQuotes(name)) return Quoted(name);
  const bool cut_short = name.find(' ') != std::string::npos && name != kStandardInput;
  return cut_short ? name + '\t' : name;
}

std::string Range(int start, int lines) {
  const std::string first = std::to_string(start);
  return lines == 1 ? first : first + ',' + std::to_string(lines);
}

std::string Header(const git_diff_hunk& hunk) {
  return "@@ -" + Range(hunk.old_start, hunk.old_lines) + " +" +
         Range(hunk.new_start, hunk.new_lines) + " @@\n";
}

void AppendLine(std::string& diff, const git_diff_line& line) {
  // The other origins stand for a missing newline; their content is the whole remark about it.
  if (line.origin == GIT_DIFF_LINE_CONTEXT || line.origin == GIT_DIFF_LINE_ADDITION ||
      line.origin == GIT_DIFF_LINE_DELETION) {
    diff += line.origin;
  }
  diff.append(line.content, line.content_len);
}

void AppendHunk(std::string& diff, git_patch* patch, std::size_t index, const std::string& name) {
  const git_diff_hunk* hunk = nullptr;
  std::size_t lines = 0;
  Check(git_patch_get_hunk(&hunk, &lines, patch, index), name);
  diff += Header(*hunk);
  for (std::size_t i = 0; i < lines; ++i) {
    const git_diff_line* line = nullptr;
    Check(git_patch_get_line_in_hunk(&line, patch, index, i), name);
    AppendLine(diff, *line);
  }
}

}  // namespace

std::string UnifiedDiff(const std::string& before, const std::string& after,
                        const std::string& name) {
  if (before == after) return std::string();
  const DiffLibrary library;
  const Patch patch = Compare(before, after, name);
  std::string diff = "--- " + HeaderName(name) + "\n+++ " + HeaderName(name) + '\n';
  const std::size_t hunks = git_patch_num_hunks(patch.get());
  for (std::size_t i = 0; i < hunks; ++i) AppendHunk(diff, patch.get(), i, name);
  return diff;
}

}  // namespace cli
