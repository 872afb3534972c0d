// SPDX-License-Identifier: Apache-2.0

// The way of a server through its files.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "server/apache_state.h"
#include "server/file_text.h"
#include "server/found_paths.h"
#include "server/macro.h"
#include "server/script.h"
#include "server/server_files.h"

namespace tov_server {

// Is told what a server does, one step after the other, wherever it stands.
class Observer {
 public:
  Observer() = default;
  virtual ~Observer() = default;
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;

  // The server carries out this step, one of `file` of the files. `words` are those of the step
  // with their variables.
  virtual void Take(const Step& step, const std::vector<std::string>& words, std::size_t file) = 0;
};

class ServerReader {
 public:
  // `observer`: null, or it is told. The options have to outlive this.
  ServerReader(const ReadingOptions& options, Observer* observer);

  ServerFiles Read();

 private:
  // A file that is being read.
  struct Frame {
    std::size_t file = 0;
    std::size_t step = 0;              // the next one
    std::vector<std::size_t> pending;  // files of the include before it, of which those
    std::size_t next = 0;              // from here on are still to be read
    bool again = false;                // it has been read before

    // Of what a "Use" makes of a macro: its steps, at the place of the "Use" in the file.
    bool of_macro = false;
    std::vector<Step> steps;
  };

  void Run();
  void TakeStep(Frame& frame);
  void TakeDirective(const Step& step, const std::vector<std::string>& words);
  void SetPrefix(const std::string& prefix);
  std::vector<Step>& StepsIn(Frame& frame) {
    return frame.of_macro ? frame.steps : m_steps[frame.file];
  }
  void DefineMacro(const Frame& frame, const Step& step, const std::vector<std::string>& words);
  void UseMacro(const Frame& frame, const Step& step, const std::vector<std::string>& words);
  bool Holds(const Step& step, const std::vector<std::string>& words) const;
  bool HoldsIfFile(const std::vector<std::string>& words) const;

  void FollowInclude(Frame& frame, std::size_t step, const std::vector<std::string>& words);
  const std::string& PathOf(const std::string& name);
  std::vector<std::size_t> FilesOf(const std::string& path, bool optional);
  bool IsIn(Role role) const { return !m_open.empty() && m_open.back() == role; }
  void ReadIncluded(std::size_t file);
  void Push(std::size_t file);
  bool IsCycle(std::size_t file) const;
  std::optional<std::size_t> FileOf(const std::string& path, bool optional);
  std::size_t AddFile(const std::string& path, std::string text);
  void Note(std::size_t file, std::size_t step, const std::string& path,
            const std::vector<std::size_t>& files);

  void AddProblem(const FoundPaths& found);
  void Add(const char* name, const std::string& message, const std::string& hint = {});
  Finding FindingAt(std::size_t file, std::uint32_t offset) const;

  const ReadingOptions& m_options;
  Observer* const m_observer;
  const Roots m_roots;
  ApacheState m_state;
  std::string m_prefix;
  std::map<std::string, Macro> m_macros;  // by their names in lower case
  std::size_t m_made = 0;                 // bytes of what was made of them

  ServerFiles m_server;
  std::vector<std::vector<Step>> m_steps;                // of each file
  std::vector<std::size_t> m_active;                     // how often each of them is being read
  std::vector<bool> m_begun;                             // whether it has been, or is
  std::unordered_map<std::string, std::string> m_paths;  // what PathOf has said of names
  std::unordered_map<std::string, std::size_t> m_by_name;
  std::unordered_map<std::string, std::vector<std::size_t>> m_followed;  // by names and patterns
  std::map<FileIdentity, std::size_t> m_by_identity;
  std::size_t m_bytes = 0;     // of all texts
  std::size_t m_repeated = 0;  // how much of what is read has been read before
  bool m_cyclic = false;

  std::vector<Frame> m_frames;
  std::vector<Role> m_open;  // the blocks that are open, of all files that are being read

  // What findings are about: a directive of a file. None: the main file, as a whole.
  std::optional<std::pair<std::size_t, std::uint32_t>> m_at;
  std::set<std::tuple<std::string, std::size_t, std::uint32_t, std::string>> m_said;
};

}  // namespace tov_server
