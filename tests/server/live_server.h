// SPDX-License-Identifier: Apache-2.0

// A real server that runs on the loopback while a test asks it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <set>
#include <string>

#include "server/live_http.h"
#include "server/server_folder.h"

// One of the servers that there are. In its texts stand placeholders, see LiveServer::Filled.
struct ServerKind {
  std::string dialect;  // "Nginx"
  std::string config;   // the server's own configuration, which includes site.conf
  std::string as_root;  // what is added to it when the test runs as root
  std::string check;    // the command that only checks the configuration
  std::string run;      // the command that serves, in the foreground
  int reload_signal;    // makes it read the configuration anew without refusing anybody
};

// A port of the loopback that no other program is given while the object lives, whether or not
// something listens on it.
class FreePort {
 public:
  // Whether the machine has IPv6 on its loopback.
  static bool HasIpv6();

  // Throws when there is none.
  explicit FreePort(int family);
  ~FreePort();
  FreePort(const FreePort&) = delete;
  FreePort& operator=(const FreePort&) = delete;

  std::string Number() const;

 private:
  int m_socket;
};

// A folder with a server in it, which is started by the first Serve and gone with the object, also
// when the test is killed.
class LiveServer {
 public:
  explicit LiveServer(const ServerKind& kind);
  ~LiveServer();
  LiveServer(const LiveServer&) = delete;
  LiveServer& operator=(const LiveServer&) = delete;

  // `text` with the placeholders filled in:
  //
  //   FOLDER                            the server's folder; live_server.cpp says what it holds
  //   PORT_A, PORT_B, PORT_C, PORT_TLS  ports on 127.0.0.1; the default site listens on PORT_A
  //   PORT_6                            a port on [::1]
  std::string Filled(std::string text) const;

  // Makes `site` the content of site.conf and has the server read it. Returns "" when it serves by
  // it, and only by it, else what is wrong; the server then serves as before, if at all.
  std::string Serve(const std::string& site);

  // What the server answers. `trusted` is a file in the folder.
  HttpResponse Get(const std::string& url, const std::string& trusted = "") const;

 private:
  void Start();
  void Stop() const;
  bool Waited(const std::function<bool()>& condition) const;
  bool Exited() const;
  std::set<pid_t> Workers() const;
  std::string Logs() const;

  const ServerKind m_kind;
  const ServerFolder m_folder;
  const FreePort m_port_a, m_port_b, m_port_c, m_port_tls, m_port_6;
  pid_t m_process = 0;  // 0: not started
};
