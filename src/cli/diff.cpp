// SPDX-License-Identifier: Apache-2.0

#include "cli/diff.h"

#include <dlfcn.h>
#include <git2.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "cli/failure.h"
#include "cli/one_line_diff.h"
#include "cli/text_io.h"

namespace cli {
namespace {

constexpr std::uint32_t kContextLines = 3;

// The address of a function, which becomes a pointer to it where its type is known.
class Symbol {
 public:
  explicit Symbol(void* address) : m_address(address) {}

  template <typename Function>
  operator Function*() const {
    return reinterpret_cast<Function*>(m_address);  // NOLINT(*-reinterpret-cast): as dlsym wants it
  }

 private:
  void* m_address;
};

// libgit2, which computes the diffs. It brings two dozen other libraries with it, and to load them
// takes longer than many an edit: so that is done when a diff is asked for, and not before.
class DiffLibrary {
  static constexpr char kFile[] = "libgit2.so." LIBGIT2_SOVERSION;

  void* const m_handle = Load();

 public:
  decltype(&git_error_last) const error_last = Find("git_error_last");
  decltype(&git_diff_options_init) const diff_options_init = Find("git_diff_options_init");
  decltype(&git_patch_from_buffers) const patch_from_buffers = Find("git_patch_from_buffers");
  decltype(&git_patch_num_hunks) const patch_num_hunks = Find("git_patch_num_hunks");
  decltype(&git_patch_get_hunk) const patch_get_hunk = Find("git_patch_get_hunk");
  decltype(&git_patch_get_line_in_hunk) const patch_get_line = Find("git_patch_get_line_in_hunk");
  decltype(&git_patch_free) const patch_free = Find("git_patch_free");

  // The process's one. It stays loaded.
  static const DiffLibrary& Get() {
    static const DiffLibrary library;
    return library;
  }

 private:
  DiffLibrary() {
    const decltype(&git_libgit2_init) init = Find("git_libgit2_init");
    init();
  }

  static void* Load() {
    void* const handle = dlopen(kFile, RTLD_NOW);
    if (!handle) {
      const char* const reason = dlerror();  // NOLINT(concurrency-mt-unsafe): glibc's is
      throw Failure(kFile, std::string("--diff cannot do without it: ") + reason);
    }
    return handle;
  }

  Symbol Find(const char* function) const {
    void* const address = dlsym(m_handle, function);
    if (!address) throw Failure(kFile, std::string("has no function ") + function);
    return Symbol(address);
  }
};

struct PatchDeleter {
  void operator()(git_patch* patch) const { DiffLibrary::Get().patch_free(patch); }
};
using Patch = std::unique_ptr<git_patch, PatchDeleter>;

void Check(int result, const std::string& name) {
  if (result >= 0) return;
  const git_error* error = DiffLibrary::Get().error_last();
  throw Failure(name, std::string("cannot be compared: ") + (error ? error->message : "unknown"));
}

Patch Compare(const std::string& before, const std::string& after, const std::string& name) {
  const DiffLibrary& library = DiffLibrary::Get();
  git_diff_options options;
  Check(library.diff_options_init(&options, GIT_DIFF_OPTIONS_VERSION), name);
  options.flags = GIT_DIFF_FORCE_TEXT | GIT_DIFF_INDENT_HEURISTIC;
  options.context_lines = kContextLines;
  options.max_size = -1;  // beyond it, a text would count as binary
  git_patch* patch = nullptr;
  Check(library.patch_from_buffers(&patch, before.data(), before.size(), nullptr, after.data(),
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
  Check(DiffLibrary::Get().patch_get_hunk(&hunk, &lines, patch, index), name);
  diff += Header(*hunk);
  for (std::size_t i = 0; i < lines; ++i) {
    const git_diff_line* line = nullptr;
    Check(DiffLibrary::Get().patch_get_line(&line, patch, index, i), name);
    AppendLine(diff, *line);
  }
}

constexpr std::size_t kHeaderLines = 2;
constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kPlain = "\x1b[m";

// "" for a line that has none.
std::string_view ColourOf(std::string_view line) {
  switch (line.front()) {
    case '-':
      return "\x1b[31m";
    case '+':
      return "\x1b[32m";
    case '@':
      return "\x1b[36m";
    default:
      return std::string_view();
  }
}

}  // namespace

std::string UnifiedDiff(const std::string& before, const std::string& after,
                        const std::string& name) {
  if (before == after) return std::string();
  std::string diff = "--- " + HeaderName(name) + "\n+++ " + HeaderName(name) + '\n';
  const std::optional<std::string> hunk = OneLineHunk(before, after, kContextLines);
  if (hunk) return diff + *hunk;
  const Patch patch = Compare(before, after, name);
  const std::size_t hunks = DiffLibrary::Get().patch_num_hunks(patch.get());
  for (std::size_t i = 0; i < hunks; ++i) AppendHunk(diff, patch.get(), i, name);
  return diff;
}

std::string Coloured(const std::string& diff) {
  std::string coloured;
  std::string_view unread = diff;
  for (std::size_t number = 0; !unread.empty(); ++number) {
    const std::size_t end = std::min(unread.find('\n'), unread.size());
    const std::string_view line = unread.substr(0, end);
    unread.remove_prefix(std::min(end + 1, unread.size()));
    const std::string_view colour = number < kHeaderLines ? kBold : ColourOf(line);
    if (colour.empty()) {
      coloured.append(line).append("\n");
    } else {
      coloured.append(colour).append(line).append(kPlain).append("\n");
    }
  }
  return coloured;
}

}  // namespace cli
