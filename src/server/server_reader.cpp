// SPDX-License-Identifier: Apache-2.0

#include "server/server_reader.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>

#include "document/ascii.h"
#include "document/places.h"
#include "edit/tree/limits.h"

namespace tov_server {
namespace {

using Problem = FoundPaths::Problem;
using tov_edit::Quoted;

// How deep httpd follows includes.
constexpr std::size_t kDeepestIncludes = 128;

// Bytes of what is made of macros.
constexpr std::size_t kMostMade = 64'000'000;

// Of files that are read again, and of their steps.
constexpr std::size_t kMostRepeated = 1'000'000;

std::string DirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash == 0 ? 1 : slash);
}

// What relative names are relative to until the files say it.
std::string FirstPrefix(const ReadingOptions& options) {
  if (!options.prefix.empty()) return options.prefix;
  const std::string directory = DirectoryOf(options.main);
  const std::filesystem::path path(directory);
  const bool conf = options.dialect == Dialect::kApache && path.filename() == "conf";
  return conf ? path.parent_path().string() : directory;
}

// httpd's way to write a path: without "." and "..", whatever links there are.
std::string Normal(const std::string& path) {
  return std::filesystem::path(path).lexically_normal().string();
}

std::vector<LeftOut> LeftOutOf(const std::vector<Step>& steps) {
  std::vector<LeftOut> left_out;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const Step& step = steps[i];
    if (step.kind != Step::Kind::kOpen || !step.failed || step.held) continue;
    left_out.push_back({step.bytes.begin, step.end});
    i = step.close;
  }
  return left_out;
}

}  // namespace

const std::vector<tov_edit::FindingKind> kServerWarnings = {
    {"missing-file", "a file that is included is not there"},
    {"unreadable-file", "a file or a directory that is included cannot be read"},
    {"outside-root", "what is included is outside of the directories that may be read"},
    {"include-cycle", "a file includes itself, maybe by way of others"},
    {"include-arguments", "an include without a name, or with several"},
    {"too-many-files", "files include others again and again"},
};

ServerReader::ServerReader(const ReadingOptions& options, Observer* observer)
    : m_options(options),
      m_observer(observer),
      m_roots(options.roots),
      m_state(options),
      m_prefix(FirstPrefix(options)) {
  m_server.dialect = options.dialect;
}

ServerFiles ServerReader::Read() {
  const std::optional<std::size_t> main = FileOf(m_options.main, false);
  if (main) {
    Push(*main);
    Run();
  }
  for (std::size_t i = 0; i < m_server.files.size(); ++i) {
    ServerFile& file = m_server.files[i];
    std::sort(file.includes.begin(), file.includes.end(),
              [](const Include& a, const Include& b) { return a.begin < b.begin; });
    if (m_options.dialect == Dialect::kApache) file.left_out = LeftOutOf(m_steps[i]);
  }
  return std::move(m_server);
}

void ServerReader::Run() {
  while (!m_frames.empty()) {
    Frame& frame = m_frames.back();
    if (frame.next < frame.pending.size()) {
      ReadIncluded(frame.pending[frame.next++]);
    } else if (frame.step < StepsIn(frame).size()) {
      TakeStep(frame);
    } else {
      if (!frame.of_macro) --m_active[frame.file];
      m_frames.pop_back();
    }
  }
}

void ServerReader::TakeStep(Frame& frame) {
  const std::size_t number = frame.step++;
  if (frame.again) ++m_repeated;
  Step& step = StepsIn(frame)[number];
  m_at = {frame.file, step.bytes.begin};
  std::vector<std::string> expanded;
  const bool apache = m_options.dialect == Dialect::kApache;
  if (apache) {
    for (const std::string& word : step.words) expanded.push_back(m_state.Expanded(word));
  }
  const std::vector<std::string>& words = apache ? expanded : step.words;
  switch (step.kind) {
    case Step::Kind::kOpen:
      if (step.role == Role::kMacro || !Holds(step, words)) {
        if (step.role == Role::kMacro) DefineMacro(frame, step, words);
        step.failed = true;
        frame.step = step.close + 1;
        return;
      }
      step.held = true;
      m_open.push_back(step.role);
      break;
    case Step::Kind::kClose:
      m_open.pop_back();
      break;
    case Step::Kind::kDirective:
      if (step.role == Role::kInclude || step.role == Role::kIncludeOptional) {
        FollowInclude(frame, number, words);
        return;
      }
      if (step.role == Role::kUse) {
        UseMacro(frame, step, words);
        return;
      }
      TakeDirective(step, words);
      break;
  }
  if (m_observer != nullptr) m_observer->Take(step, words, frame.file);
}

void ServerReader::TakeDirective(const Step& step, const std::vector<std::string>& words) {
  switch (step.role) {
    case Role::kDefine:
      m_state.Define(words);
      break;
    case Role::kUnDefine:
      m_state.UnDefine(words);
      break;
    case Role::kLoadModule:
      m_state.LoadModule(words);
      break;
    case Role::kUndefMacro:
      if (words.size() > 1) m_macros.erase(tov_document::Lower(words[1]));
      break;
    case Role::kServerRoot:
      if (words.size() > 1) SetPrefix(Normal(Below(m_prefix, words[1])));
      break;
    default:
      break;
  }
}

void ServerReader::SetPrefix(const std::string& prefix) {
  m_prefix = prefix;
  m_paths.clear();
}

bool ServerReader::Holds(const Step& step, const std::vector<std::string>& words) const {
  switch (step.role) {
    case Role::kIfModule:
      return m_state.HoldsIfModule(words);
    case Role::kIfDefine:
      return m_state.HoldsIfDefine(words);
    case Role::kIfVersion:
      return m_state.HoldsIfVersion(words);
    case Role::kIfFile:
      return HoldsIfFile(words);
    default:
      return true;
  }
}

// What is outside of the roots is not looked at, and taken to be there.
bool ServerReader::HoldsIfFile(const std::vector<std::string>& words) const {
  if (words.size() < 2) return true;
  const bool negated = words[1].substr(0, 1) == "!";
  const std::string path = Normal(Below(m_prefix, words[1].substr(negated ? 1 : 0)));
  if (!m_roots.Hold(path)) return !negated;
  return IdentityOf(path).has_value() != negated;
}

// --- Macros ---

// One that is made by another macro is not known: nobody does that.
void ServerReader::DefineMacro(const Frame& frame, const Step& step,
                               const std::vector<std::string>& words) {
  if (words.size() < 2 || frame.of_macro) return;
  const std::string& text = m_server.files[frame.file].text;
  m_macros[tov_document::Lower(words[1])] = {{words.begin() + 2, words.end()},
                                             text.substr(step.body.begin, step.body.size())};
}

// What is there already, or httpd would refuse, is passed over.
void ServerReader::UseMacro(const Frame& frame, const Step& step,
                            const std::vector<std::string>& words) {
  if (words.size() < 2) return;
  const auto macro = m_macros.find(tov_document::Lower(words[1]));
  if (macro == m_macros.end()) return;
  const std::optional<std::string> text =
      BodyWith(macro->second, {words.begin() + 2, words.end()}, kMostMade - m_made);
  if (!text) return;
  m_made += text->size();
  ++m_repeated;
  if (m_frames.size() > kDeepestIncludes || m_repeated >= kMostRepeated) {
    Add("too-many-files", "macros are used again and again; what this makes is not read");
    return;
  }
  Frame made;
  made.file = frame.file;
  made.of_macro = true;
  made.steps = StepsOf(tov_document::Document(m_options.dialect, *text));
  for (Step& each : made.steps) each.bytes = step.bytes;
  m_frames.push_back(std::move(made));
}

// --- Includes ---

void ServerReader::FollowInclude(Frame& frame, std::size_t step,
                                 const std::vector<std::string>& words) {
  if (IsIn(Role::kUnread)) return;
  if (words.size() != 2) {
    Add("include-arguments", "an include takes one name of a file, or one pattern");
    return;
  }
  const bool optional = StepsIn(frame)[step].role == Role::kIncludeOptional;
  const std::string& path = PathOf(words[1]);
  std::vector<std::size_t> files = FilesOf(path, optional);
  if (!frame.of_macro) Note(frame.file, step, path, files);
  frame.pending = std::move(files);
  frame.next = 0;
}

// Many sites include the same files, and httpd's way to write a path takes a while.
const std::string& ServerReader::PathOf(const std::string& name) {
  const auto known = m_paths.find(name);
  if (known != m_paths.end()) return known->second;
  const std::string path = Below(m_prefix, name);
  return m_paths[name] = m_options.dialect == Dialect::kApache ? Normal(path) : path;
}

// What an include of `path` reads. Where all is well, nobody looks a second time.
std::vector<std::size_t> ServerReader::FilesOf(const std::string& path, bool optional) {
  const bool plain = IsIn(Role::kGeo);
  const auto known = m_followed.find(path);
  if (known != m_followed.end() && !plain) return known->second;
  const FoundPaths found = plain ? FoundPaths{{path}, Problem::kNone, {}, {}}
                           : m_options.dialect == Dialect::kApache
                               ? FindForApache(path, optional, m_roots)
                               : FindForNginx(path, m_roots);
  AddProblem(found);
  std::vector<std::size_t> files;
  for (const std::string& each : found.paths) {
    const std::optional<std::size_t> file = FileOf(each, optional);
    if (file) files.push_back(*file);
  }
  const bool well = found.problem == Problem::kNone && files.size() == found.paths.size();
  if (well && !files.empty() && !plain) m_followed[path] = files;
  return files;
}

// Keeps what the include at `step` of `file`, of `path`, reads.
void ServerReader::Note(std::size_t file, std::size_t step, const std::string& path,
                        const std::vector<std::size_t>& files) {
  std::vector<Include>& includes = m_server.files[file].includes;
  std::optional<std::size_t>& known = m_steps[file][step].include;
  if (!known) {
    known = includes.size();
    const tov_document::Span bytes = m_steps[file][step].bytes;
    includes.push_back({bytes.begin, bytes.end, {path}, files});
    return;
  }
  std::vector<std::string>& patterns = includes[*known].patterns;
  if (std::find(patterns.begin(), patterns.end(), path) == patterns.end()) {
    patterns.push_back(path);
  }
  std::vector<std::size_t>& before = includes[*known].files;
  if (before == files) return;
  const std::set<std::size_t> had(before.begin(), before.end());
  std::copy_if(files.begin(), files.end(), std::back_inserter(before),
               [&had](std::size_t each) { return had.count(each) == 0; });
}

void ServerReader::ReadIncluded(std::size_t file) {
  Frame& from = m_frames.back();
  m_at = {from.file, StepsIn(from)[from.step - 1].bytes.begin};
  if (IsCycle(file)) {
    m_cyclic = true;
    Add("include-cycle", Quoted(m_server.files[file].name) + " would be read within itself",
        "Let the include not name this file");
    return;
  }
  // What a file says to nginx does not depend on what has been read before.
  const bool nothing_new = m_options.dialect == Dialect::kNginx && m_observer == nullptr;
  if (nothing_new && m_begun[file]) return;
  if (m_repeated >= kMostRepeated) {
    Add("too-many-files", "files are read again and again; what is included from here on is not");
    m_frames.clear();
    return;
  }
  Push(file);
}

void ServerReader::Push(std::size_t file) {
  const bool again = m_begun[file];
  if (again) ++m_repeated;
  ++m_active[file];
  m_begun[file] = true;
  m_frames.push_back({file, 0, {}, 0, again, false, {}});
}

// httpd does read a file within itself, which may come to an end by its variables.
bool ServerReader::IsCycle(std::size_t file) const {
  if (m_active[file] == 0) return false;
  return m_options.dialect == Dialect::kNginx || m_cyclic || m_frames.size() > kDeepestIncludes;
}

// --- Files ---

// The file at `path`, read if it is not known yet; none: it cannot be read, which has been said.
std::optional<std::size_t> ServerReader::FileOf(const std::string& path, bool optional) {
  const auto named = m_by_name.find(path);
  if (named != m_by_name.end()) return named->second;
  if (!m_roots.Hold(path)) {
    AddProblem({{}, Problem::kOutside, path, {}});
    return std::nullopt;
  }
  const std::optional<FileIdentity> identity = IdentityOf(path);
  if (identity && m_by_identity.count(*identity) != 0) {
    return m_by_name[path] = m_by_identity[*identity];
  }
  FileText read = ReadText(path, tov_edit::kLargestText - m_bytes);
  if (read.error != 0) {
    const bool missing = read.error == ENOENT || read.error == ENOTDIR;
    if (!missing || !optional) {
      const std::string reason =
          read.problem.empty() ? std::generic_category().message(read.error) : read.problem;
      AddProblem({{}, missing ? Problem::kMissing : Problem::kUnreadable, path, reason});
    }
    return std::nullopt;
  }
  const std::size_t file = AddFile(path, std::move(read.text));
  if (identity) m_by_identity[*identity] = file;
  return file;
}

std::size_t ServerReader::AddFile(const std::string& path, std::string text) {
  const std::size_t file = m_server.files.size();
  m_bytes += text.size();
  m_server.files.push_back({path, std::move(text), {}});
  m_by_name[path] = file;
  const tov_document::Document document(m_options.dialect, m_server.files.back().text);
  m_steps.push_back(StepsOf(document));
  m_active.push_back(0);
  m_begun.push_back(false);
  if (const auto& error = document.error()) {
    Finding finding = FindingAt(file, error->at);
    finding.name = "syntax-error";
    finding.message = Describe(*error);
    if (error->opened) {
      finding.config_places.push_back(FindingAt(file, *error->opened).config_places.front());
    }
    m_server.findings.push_back(std::move(finding));
  }
  if (m_options.progress) m_options.progress(m_server.files.size());
  return file;
}

// --- Findings ---

// One that has no name yet.
Finding ServerReader::FindingAt(std::size_t file, std::uint32_t offset) const {
  const ServerFile& read = m_server.files[file];
  const tov_document::Place place = tov_document::Places(read.text).Of(offset);
  Finding finding;
  finding.config_places.push_back({read.name, place.line, place.column});
  const std::size_t begin = offset + 1 - place.column;
  finding.line_text = read.text.substr(begin, read.text.find('\n', begin) - begin);
  return finding;
}

void ServerReader::AddProblem(const FoundPaths& found) {
  const std::string name = Quoted(found.at);
  switch (found.problem) {
    case Problem::kNone:
      break;
    case Problem::kMissing:
      Add("missing-file", "there is no " + name);
      break;
    case Problem::kUnreadable:
      Add("unreadable-file", name + " cannot be read: " + found.reason);
      break;
    case Problem::kOutside:
      Add("outside-root", name + " is outside of the directories that may be read");
      break;
  }
}

// Once for each directive.
void ServerReader::Add(const char* name, const std::string& message, const std::string& hint) {
  const auto at = m_at.value_or(std::make_pair(std::size_t{0}, std::uint32_t{0}));
  if (!m_said.emplace(name, at.first, at.second, message).second) return;
  Finding finding;
  if (m_at) finding = FindingAt(at.first, at.second);
  if (!m_at) finding.config_places.push_back({m_options.main});
  finding.name = name;
  finding.message = message;
  finding.hint = hint;
  m_server.findings.push_back(std::move(finding));
}

ServerFiles ReadServer(const ReadingOptions& options) {
  return ServerReader(options, nullptr).Read();
}

}  // namespace tov_server
