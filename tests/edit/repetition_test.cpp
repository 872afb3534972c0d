// SPDX-License-Identifier: Apache-2.0

// Which directives may be repeated, and whether the servers are of the same opinion.

#include "edit/tree/repetition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "edit/repeated_directives.h"
#include "edit/tree/repetition_tables.h"
#include "server/server_folder.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using tov_document::Dialect;
using tov_edit::Repetition;
using tov_edit::RepetitionOf;

TEST(RepetitionOf, KnowsTheDirectivesOfBothServers) {
  struct Case {
    Dialect dialect;
    const char* name;
    Repetition repetition;
  };
  const Case cases[] = {
      {Dialect::kNginx, "root", Repetition::kOnce},
      {Dialect::kNginx, "absolute_redirect", Repetition::kOnce},
      {Dialect::kNginx, "xclient", Repetition::kOnce},
      {Dialect::kNginx, "add_header", Repetition::kMany},
      {Dialect::kNginx, "access_log", Repetition::kMany},
      {Dialect::kNginx, "location", Repetition::kMany},
      {Dialect::kNginx, "Root", Repetition::kUnknown},
      {Dialect::kNginx, "roo", Repetition::kUnknown},
      {Dialect::kNginx, "roots", Repetition::kUnknown},
      {Dialect::kNginx, "", Repetition::kUnknown},
      {Dialect::kNginx, "DocumentRoot", Repetition::kUnknown},
      {Dialect::kApache, "DocumentRoot", Repetition::kOnce},
      {Dialect::kApache, "documentroot", Repetition::kOnce},
      {Dialect::kApache, "AcceptPathInfo", Repetition::kOnce},
      {Dialect::kApache, "XBITHACK", Repetition::kOnce},
      {Dialect::kApache, "Header", Repetition::kMany},
      {Dialect::kApache, "rewriterule", Repetition::kMany},
      {Dialect::kApache, "VirtualHost", Repetition::kMany},
      {Dialect::kApache, "PHP_Value", Repetition::kMany},
      {Dialect::kApache, "<VirtualHost", Repetition::kUnknown},
      {Dialect::kApache, "DocumentRoo", Repetition::kUnknown},
      {Dialect::kApache, "root", Repetition::kUnknown},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(RepetitionOf(c.dialect, c.name), c.repetition);
  }
}

// --- nginx ---

std::string Directive(const std::string& name, const std::string& arguments) {
  const bool block = !arguments.empty() && arguments.back() == '}';
  return name + (arguments.empty() ? "" : " ") + arguments + (block ? "\n" : ";\n");
}

// The directives on lines of their own, from kFirstLine on, in the block that `context` names.
constexpr int kFirstLine = 3;

std::string Configuration(const std::string& context, const std::string& name,
                          const std::string& directives) {
  std::string modules;
  for (const char* module :
       {"ngx_stream", "ngx_mail", "ndk_http", "ngx_http_lua", "ngx_http_headers_more_filter",
        "ngx_http_brotli_filter", "ngx_http_brotli_static"}) {
    modules += "load_module /usr/lib/nginx/modules/" + std::string(module) + "_module.so; ";
  }
  const std::string pid = name == "pid" ? "" : "pid nginx.pid;";
  const std::string zones =
      "limit_conn_zone $uri zone=connections:1m; limit_conn_zone $uri zone=others:1m; "
      "limit_req_zone $uri zone=requests:1m rate=1r/s; "
      "limit_req_zone $uri zone=more:1m rate=1r/s; ";
  const std::string mail = "events { } mail { auth_http 127.0.0.1:9; ";
  const std::string stream = "events { } stream { ";
  struct Around {
    std::string before;
    std::string behind;
  };
  const std::map<std::string, Around> contexts = {
      {"main", {"", "events { }"}},
      {"events", {"events {", "}"}},
      {"http", {"events { } http {", "}"}},
      {"server", {"events { } http { server {", "} }"}},
      {"location", {"events { } http { " + zones + "server { location / {", "} } }"}},
      {"upstream", {"events { } http { upstream u { server 127.0.0.1:9;", "} }"}},
      {"mail", {mail, "}"}},
      {"mail server", {mail + "server { listen 127.0.0.1:8025; protocol smtp;", "} }"}},
      {"stream", {stream, "}"}},
      {"stream server", {stream + "server { listen 127.0.0.1:8025;", "} }"}},
      {"stream upstream", {stream + "upstream u { server 127.0.0.1:9;", "} }"}},
  };
  const Around& around = contexts.at(context);
  return modules + "\n" + pid + around.before + "\n" + directives + around.behind + "\n";
}

class NginxRepetition : public testing::Test {
 protected:
  NginxRepetition() {
    for (const char* ticket : {"a.ticket", "b.ticket"}) m_folder.Write(ticket, kTicket);
    for (const char* file : {"a.pass", "b.pass", "empty.conf"}) m_folder.Write(file, "");
  }

  // Whether nginx takes a configuration. What it says goes to m_said.
  bool Takes(const std::string& configuration) {
    m_folder.Write("nginx.conf", configuration);
    return m_folder.Run(
        "nginx -t -p " + m_folder.Path() + " -e stderr -g 'error_log stderr;' -c nginx.conf",
        m_said);
  }

  // Calls `step` with the name of each of the examples, and with it twice in its block.
  template <std::size_t kSize, typename Step>
  static void ForEach(const Repeated (&examples)[kSize], const Step& step) {
    for (const Repeated& example : examples) {
      std::istringstream names(example.names);
      for (std::string name; names >> name;) {
        SCOPED_TRACE(name);
        step(name, Configuration(example.context, name,
                                 Directive(name, example.first) + Directive(name, example.second)));
      }
    }
  }

  const std::string kTicket = std::string(80, 't');

  const ServerFolder m_folder{"repetition"};
  std::string m_said;
};

TEST_F(NginxRepetition, ASecondOneOfWhatMayStandOnceIsADuplicate) {
  const std::string place =
      m_folder.Path() + "/nginx.conf:" + std::to_string(kFirstLine + 1) + "\n";
  ForEach(kRefused, [&](const std::string& name, const std::string& configuration) {
    EXPECT_EQ(RepetitionOf(Dialect::kNginx, name), Repetition::kOnce);
    EXPECT_FALSE(Takes(configuration));
    EXPECT_THAT(m_said, HasSubstr("is duplicate in " + place));
  });
}

TEST_F(NginxRepetition, ASecondOneIsTakenWhereOneOfTheTwoDoesNothing) {
  ForEach(kOverruled, [&](const std::string& name, const std::string& configuration) {
    EXPECT_EQ(RepetitionOf(Dialect::kNginx, name), Repetition::kOnce);
    EXPECT_TRUE(Takes(configuration)) << m_said;
  });
}

TEST_F(NginxRepetition, ASecondOneOfWhatMayBeRepeatedIsTaken) {
  ForEach(kTogether, [&](const std::string& name, const std::string& configuration) {
    EXPECT_EQ(RepetitionOf(Dialect::kNginx, name), Repetition::kMany);
    EXPECT_TRUE(Takes(configuration)) << m_said;
  });
}

TEST_F(NginxRepetition, TheServerIsTooOldForTheRest) {
  for (const std::string name : kYetToCome) {
    SCOPED_TRACE(name);
    EXPECT_EQ(RepetitionOf(Dialect::kNginx, name), Repetition::kOnce);
    EXPECT_FALSE(Takes(Configuration("server", name, Directive(name, "on"))));
    EXPECT_THAT(m_said, HasSubstr("unknown directive \"" + name + "\""))
        << "the server knows it: it belongs to the examples";
  }
}

TEST_F(NginxRepetition, EveryNameOfTheTableIsTried) {
  std::set<std::string> tried(std::begin(kYetToCome), std::end(kYetToCome));
  tried.insert("load_module");  // several stand at the head of every configuration here
  const auto add = [&tried](const std::string& name, const std::string&) {
    EXPECT_TRUE(tried.insert(name).second);
  };
  ForEach(kRefused, add);
  ForEach(kOverruled, add);
  ForEach(kTogether, add);
  std::set<std::string> table(std::begin(tov_edit::kNginxOnce), std::end(tov_edit::kNginxOnce));
  table.insert(std::begin(tov_edit::kNginxMany), std::end(tov_edit::kNginxMany));
  EXPECT_EQ(tried, table);
}

// --- Apache httpd ---

class HttpdRepetition : public testing::Test {
 protected:
  // What httpd with all of its modules says about a configuration, asked for `what`.
  std::string Said(const std::string& configuration, const std::string& what) {
    std::string output;
    EXPECT_TRUE(m_folder.Run("ls /usr/lib/apache2/modules", output));
    std::string modules;
    std::istringstream files(output);
    for (std::string file; files >> file;) {
      if (file.substr(0, 4) != "mod_" || kLeftOut.count(file) != 0) continue;
      const std::string name = file.substr(4, file.size() - 7);
      modules += "LoadModule " + name + "_module /usr/lib/apache2/modules/" + file + "\n";
    }
    m_folder.Write("httpd.conf", modules +
                                     "ServerName test.example\nPidFile httpd.pid\n"
                                     "ErrorLog logs/error.log\nTypesConfig /dev/null\n"
                                     "ProxyHCTPsize 1\n" +
                                     configuration);
    m_folder.Run("apache2 -t " + what + " -d " + m_folder.Path() + " -f httpd.conf", output);
    return output;
  }

  // The names that httpd does not know, neither as directives nor as sections.
  template <std::size_t kSize>
  std::vector<std::string_view> UnknownOf(const std::string_view (&names)[kSize]) {
    std::string text;
    for (const std::string_view name : names) {
      const std::string known(name);
      for (const char* bracket : {"", "<"}) {
        text +=
            "<IfDirective " + (bracket + known) + ">\nDefine known_" + known + "\n</IfDirective>\n";
      }
    }
    const std::string said = Said(text, "-D DUMP_RUN_CFG");
    std::vector<std::string_view> unknown;
    std::copy_if(std::begin(names), std::end(names), std::back_inserter(unknown),
                 [&said](std::string_view name) {
                   const std::string known = "Define: known_" + std::string(name) + "\n";
                   return said.find(known) == std::string::npos;
                 });
    return unknown;
  }

  // There is one such module at a time, and one that is not of the server.
  const std::set<std::string> kLeftOut = {"mod_mpm_prefork.so", "mod_mpm_worker.so", "mod_wsgi.so"};

  const ServerFolder m_folder{"repetition"};
};

TEST_F(HttpdRepetition, EveryNameOfTheTableIsOneOfTheServers) {
  const std::string_view names[] = {"ServerName", "NoSuch", "VirtualHost"};
  EXPECT_THAT(UnknownOf(names), ElementsAre("NoSuch"));
  EXPECT_THAT(UnknownOf(tov_edit::kApacheOnce),
              ElementsAre("PHPINIDir", "WSGIApplicationGroup", "WSGIPassAuthorization",
                          "WSGIProcessGroup", "WSGIPythonHome", "WSGIPythonPath"));
  EXPECT_THAT(
      UnknownOf(tov_edit::kApacheMany),
      ElementsAre("php_admin_flag", "php_admin_value", "php_flag", "php_value", "WSGIDaemonProcess",
                  "WSGIImportScript", "WSGIScriptAlias", "WSGIScriptAliasMatch"));
}

TEST_F(HttpdRepetition, NoNameIsInBothLists) {
  for (const std::string_view name : tov_edit::kApacheMany) {
    EXPECT_EQ(RepetitionOf(Dialect::kApache, name), Repetition::kMany) << name;
  }
}

TEST_F(HttpdRepetition, TheLastOneCountsOfWhatMayStandOnce) {
  const std::string text =
      "DocumentRoot logs\nDocumentRoot certs\nPidFile other.pid\n"
      "<VirtualHost *:80>\nServerName a.example\nServerName b.example\n"
      "ServerAlias c.example\nServerAlias d.example\n</VirtualHost>\n";
  EXPECT_THAT(Said(text, "-D DUMP_RUN_CFG"),
              AllOf(ContainsRegex("Main DocumentRoot: .*/certs\""), HasSubstr("/other.pid\""),
                    Not(HasSubstr("/logs\"")), Not(HasSubstr("httpd.pid"))));
  EXPECT_THAT(Said(text + "<VirtualHost *:80>\n</VirtualHost>\n", "-D DUMP_VHOSTS"),
              AllOf(HasSubstr("namevhost b.example"), Not(HasSubstr("a.example")),
                    HasSubstr("alias c.example"), HasSubstr("alias d.example")));
}

}  // namespace
