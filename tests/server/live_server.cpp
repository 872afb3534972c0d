// SPDX-License-Identifier: Apache-2.0

#include "server/live_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <thread>

#include "template/framework/str.h"

namespace {

// What every server's folder holds for its sites, beside two certificates of a.example and
// b.example in certs/old.pem and certs/new.pem, with their keys in certs/old.key and certs/new.key.
const std::map<std::string, std::string> kDocuments = {
    {"www/default/index.html", "default site"},
    {"www/neighbour/index.html", "neighbour"},
    {"www/one/index.html", "one"},
    {"www/one/start.html", "start of one"},
    {"www/one/docs/page.html", "page of one"},
    {"www/two/index.html", "two"},
    {"www/two/docs/page.html", "page of two"},
    {"www/pictures/cat.txt", "cat"},
    {"www/music/song.txt", "song"},
};

// A socket that is bound to a port of the loopback; -1 when there is none.
int BoundSocket(int family) {
  const int bound = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (bound == -1) return -1;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  sockaddr_in6 address6{};
  address6.sin6_family = AF_INET6;
  address6.sin6_addr = in6addr_loopback;
  const bool ok =
      family == AF_INET6
          ? bind(bound, reinterpret_cast<const sockaddr*>(&address6), sizeof address6) == 0
          : bind(bound, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  if (ok) return bound;
  close(bound);
  return -1;
}

bool Disjoint(const std::set<pid_t>& a, const std::set<pid_t>& b) {
  return std::none_of(a.begin(), a.end(), [&](pid_t process) { return b.count(process) != 0; });
}

}  // namespace

bool FreePort::HasIpv6() {
  const int bound = BoundSocket(AF_INET6);
  if (bound != -1) close(bound);
  return bound != -1;
}

FreePort::FreePort(int family) : m_socket(BoundSocket(family)) {
  // From now on, a program that asks for this very port gets it, as servers do that set the same
  // option; who asks for any port does not.
  const int on = 1;
  if (m_socket == -1 || setsockopt(m_socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
    throw std::runtime_error("no free port");
  }
}

FreePort::~FreePort() {
  close(m_socket);
}

std::string FreePort::Number() const {
  sockaddr_in6 address{};
  socklen_t size = sizeof address;
  if (getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("a port without a number");
  }
  return std::to_string(ntohs(address.sin6_port));  // at the same place in an address of IPv4
}

LiveServer::LiveServer(const ServerKind& kind)
    : m_kind(kind),
      m_folder("live-" + kind.dialect),
      m_port_a(AF_INET),
      m_port_b(AF_INET),
      m_port_c(AF_INET),
      m_port_tls(AF_INET),
      m_port_6(FreePort::HasIpv6() ? AF_INET6 : AF_INET) {
  // Apache's workers are somebody else when its parent is root.
  umask(S_IWGRP | S_IWOTH);
  std::filesystem::permissions(m_folder.Path(), std::filesystem::perms(0755));
  for (const auto& [file, text] : kDocuments) {
    const auto path = std::filesystem::path(m_folder.Path()) / file;
    std::filesystem::create_directories(path.parent_path());
    m_folder.Write(file, text);
    // A file that has just been written is served with other headers than an old one.
    std::filesystem::last_write_time(
        path, std::filesystem::last_write_time(path) - std::chrono::hours(1));
  }
  for (const char* name : {"old", "new"}) {
    m_folder.MakeCertificate(
        name, "-subj /CN=a.example -addext subjectAltName=DNS:a.example,DNS:b.example");
  }
  m_folder.Write("server.conf", Filled(kind.config + (geteuid() == 0 ? kind.as_root : "")));
}

LiveServer::~LiveServer() {
  Stop();
}

std::string LiveServer::Filled(std::string text) const {
  const std::map<std::string, std::string> places = {
      {"FOLDER", m_folder.Path()},       {"PORT_A", m_port_a.Number()},
      {"PORT_B", m_port_b.Number()},     {"PORT_C", m_port_c.Number()},
      {"PORT_TLS", m_port_tls.Number()}, {"PORT_6", m_port_6.Number()}};
  for (const auto& [place, value] : places) text = str::Replace(text, place, value);
  return text;
}

std::string LiveServer::Serve(const std::string& site) {
  m_folder.Write("site.conf", site + "\n");
  std::string output;
  if (!m_folder.Run(Filled(m_kind.check), output)) return output + "\n" + site;

  const std::set<pid_t> old_workers = Workers();
  if (m_process == 0) {
    Start();
  } else {
    kill(m_process, m_kind.reload_signal);
  }
  const bool serves = Waited([&] {
    const std::set<pid_t> workers = Workers();
    return !workers.empty() && Disjoint(workers, old_workers) &&
           Get("http://default.example:PORT_A/").failure.empty();
  });
  return serves ? "" : "does not serve:\n" + Logs() + "\n" + site;
}

HttpResponse LiveServer::Get(const std::string& url, const std::string& trusted) const {
  const bool ipv6 = url.find("PORT_6") != std::string::npos;
  return HttpGet({Filled(url), ipv6 ? "[::1]" : "127.0.0.1",
                  trusted.empty() ? "" : m_folder.Path() + "/" + trusted});
}

void LiveServer::Start() {
  const std::string command = "PATH=$PATH:/usr/sbin; exec " + Filled(m_kind.run) + " </dev/null >" +
                              m_folder.Path() + "/logs/output 2>&1";
  const pid_t parent = getpid();
  m_process = fork();
  if (m_process == -1) throw std::runtime_error("no process");
  if (m_process != 0) return;
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() == parent) execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
  _exit(127);
}

// A server that is asked to end ends its workers; one that does not is killed with them.
void LiveServer::Stop() const {
  if (m_process == 0) return;
  kill(m_process, SIGTERM);
  Waited([] { return false; });
  kill(-m_process, SIGKILL);
  waitpid(m_process, nullptr, 0);
}

// Whether `condition` comes true in time, while the server runs.
bool LiveServer::Waited(const std::function<bool()>& condition) const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!Exited() && std::chrono::steady_clock::now() < deadline) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

// Whether the server has ended by itself. It stays to be waited for, so that its id stays its own.
bool LiveServer::Exited() const {
  siginfo_t info{};
  return waitid(P_PID, static_cast<id_t>(m_process), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
         info.si_pid != 0;
}

std::set<pid_t> LiveServer::Workers() const {
  if (m_process == 0) return {};
  const std::string process = std::to_string(m_process);
  std::ifstream children("/proc/" + process + "/task/" + process + "/children");
  if (!children) throw std::runtime_error("the system does not tell a server's workers");
  return {std::istream_iterator<pid_t>(children), {}};
}

std::string LiveServer::Logs() const {
  std::string logs;
  for (const char* file : {"/logs/output", "/logs/error.log"}) {
    std::ifstream stream(m_folder.Path() + file);
    logs.append(std::istreambuf_iterator<char>(stream), {});
  }
  return logs;
}
