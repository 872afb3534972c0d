// SPDX-License-Identifier: Apache-2.0

// Puts constructs beside a plain site and changes one line of that site. Each file below
// <dialect>/<context>/ is a construct, see README.md in this folder.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "server/apache_server.h"
#include "server/nginx_server.h"
#include "template/qeltemplate.h"

namespace {

namespace fs = std::filesystem;

// Where a construct stands: between two texts.
struct Place {
  std::string name;
  std::string before;
  std::string after;
  std::string opener{};  // the line that opens the block around the site, if there is one
};

using Places = std::vector<Place>;

// The same places inside a block that is inside the block that was there.
Places Inside(const std::string& opener, const std::string& closer, Places places) {
  for (Place& place : places) {
    place.before += opener;
    place.after.insert(0, closer);
  }
  return places;
}

// A server's dialect, and a plain site in it.
class Dialect {
 public:
  Dialect(std::string name, std::string site_head, std::string directive, std::string line_end,
          std::string site_tail)
      : m_name(std::move(name)),
        m_head(std::move(site_head)),
        m_directive(std::move(directive)),
        m_line_end(std::move(line_end)),
        m_tail(std::move(site_tail)) {}
  virtual ~Dialect() = default;

  // Context -> the places where its constructs go.
  virtual std::map<std::string, Places> Contexts() const = 0;

  // "" when the server accepts `config`, else what it says.
  virtual std::string Refusal(const std::string& config) const = 0;

  // `config` edited by a template that names the plain site, in the block that `opener` opens, and
  // gives its root another value. The template leaves that block open: the end of a block around a
  // named server is not found, and would be added.
  std::string Edited(const std::string& config, const std::string& opener) const {
    return tov_template::ParserTemplate(tov_template::GetConfigType(m_name, config))
        .SetValue("root", "/srv/plain", "/srv/moved")
        .SetTemplate(opener + m_head + Line("[% $root %]") + m_tail)
        .ApplyTemplate()
        .GetConfig();
  }

  // The one line that changes, with the root `root`.
  std::string Line(const std::string& root) const {
    return "\t" + m_directive + " " + root + m_line_end;
  }

  std::string Site() const { return m_head + Line("/srv/plain") + m_tail; }

 protected:
  // The places in a block of the kind of the site's, which `neighbour` opens and `closer` closes:
  // in the site itself, and in another site beside it.
  Places PlacesInSite(const std::string& neighbour, const std::string& closer) const {
    return {{"before_the_line", m_head, Line("/srv/plain") + m_tail},
            {"after_the_line", m_head + Line("/srv/plain"), m_tail},
            {"in_neighbour_before", neighbour, closer + Site()},
            {"in_neighbour_behind", Site() + neighbour, closer}};
  }

 private:
  const std::string m_name;
  const std::string m_head;
  const std::string m_directive;
  const std::string m_line_end;
  const std::string m_tail;
};

class NginxServer : public Dialect {
 public:
  NginxServer()
      : Dialect("Nginx", "server {\n\tlisten 127.0.0.1:8080;\n\tserver_name plain.example;\n",
                "root", ";\n", "\tindex index.html;\n}\n") {}

  std::map<std::string, Places> Contexts() const override {
    const std::string events = "events {}\n";
    const std::string http = "http {\n";
    const std::string head = http + m_log_off;
    const std::string whole = head + Site() + "}\n";
    const Places in_server = PlacesInSite(
        "server {\n\tlisten 127.0.0.1:8080;\n\tserver_name neighbour.example;\n", "}\n");
    return {{"main", {{"before", events, whole, http}, {"behind", events + whole, "", http}}},
            {"events", {{"before", "", whole, http}, {"behind", whole, "", http}}},
            {"http",
             {{"before", "", Site()},
              {"behind", Site(), ""},
              {"before_in_http", events + head, Site() + "}\n", http},
              {"behind_in_http", events + head + Site(), "}\n", http}}},
            {"server", in_server},
            {"location", Inside("\tlocation /place {\n", "\t}\n", in_server)}};
  }

  std::string Refusal(const std::string& config) const override {
    static const ServerFolder folder("nginx");
    folder.Write("included.conf", "# nothing\n");
    const bool whole = config.find("http {\n") != std::string::npos;
    return NginxRefusal(folder,
                        whole ? config : "events {}\nhttp {\n" + m_log_off + config + "\n}\n",
                        "load_module /usr/lib/nginx/modules/ndk_http_module.so;"
                        "load_module /usr/lib/nginx/modules/ngx_http_lua_module.so;"
                        "load_module /usr/lib/nginx/modules/ngx_mail_module.so;"
                        "load_module /usr/lib/nginx/modules/ngx_stream_module.so;");
  }

 private:
  // The log's place is not for everyone to write to.
  const std::string m_log_off = "\taccess_log off;\n";
};

class ApacheServer : public Dialect {
 public:
  ApacheServer()
      : Dialect("Apache", "<VirtualHost 127.0.0.1:8081>\n\tServerName plain.example\n",
                "DocumentRoot", "\n", "\tErrorLog logs/plain.log\n</VirtualHost>\n") {}

  std::map<std::string, Places> Contexts() const override {
    const Places in_host = PlacesInSite(
        "<VirtualHost 127.0.0.1:8082>\n\tServerName neighbour.example\n", "</VirtualHost>\n");
    return {{"server", {{"before", "", Site()}, {"behind", Site(), ""}}},
            {"virtualhost", in_host},
            {"directory", Inside("\t<Directory /srv/place>\n", "\t</Directory>\n", in_host)}};
  }

  std::string Refusal(const std::string& config) const override {
    static const ServerFolder folder("apache");
    folder.Write("included.conf", "# nothing\n");
    return HttpdRefusal(
        folder,
        {"mpm_event",     "alias",      "auth_basic",  "authn_core",     "authn_file",
         "authz_core",    "authz_host", "authz_user",  "autoindex",      "deflate",
         "dir",           "env",        "expires",     "filter",         "headers",
         "include",       "macro",      "mime",        "proxy",          "proxy_http",
         "rewrite",       "setenvif",   "slotmem_shm", "proxy_balancer", "lbmethod_byrequests",
         "socache_shmcb", "ssl",        "substitute"},
        config);
  }
};

std::string Read(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + file.string());
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// `text` between what stands before and behind it, on lines of its own.
std::string Placed(const std::string& text, const Place& place) {
  const bool ended = text.empty() || text.back() == '\n' || place.after.empty();
  return place.before + text + (ended ? "" : "\n") + place.after;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t pos = text.find(from);
  if (pos == std::string::npos || text.find(from, pos + 1) != std::string::npos) {
    throw std::runtime_error("not once in the text: " + from);
  }
  return text.replace(pos, from.size(), to);
}

std::vector<std::string> Lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// `text` without its empty lines and without the line end at its end.
std::string Compact(const std::string& text) {
  std::string compact;
  for (const std::string& line : Lines(text)) {
    if (!line.empty()) compact += (compact.empty() ? "" : "\n") + line;
  }
  return compact;
}

// Whether all lines of `part` are lines of `text`, in their order.
bool HoldsLinesOf(const std::string& text, const std::string& part) {
  const std::vector<std::string> lines = Lines(text);
  auto rest = lines.begin();
  for (const std::string& line : Lines(part)) {
    rest = std::find(rest, lines.end(), line);
    if (rest == lines.end()) return false;
    ++rest;
  }
  return true;
}

// The files in `folder`, in the order of their names; none when it is not there.
std::vector<fs::path> Files(const fs::path& folder) {
  if (!fs::exists(folder)) return {};
  const fs::directory_iterator entries(folder);
  std::vector<fs::path> files(fs::begin(entries), fs::end(entries));
  std::sort(files.begin(), files.end());
  return files;
}

// What an edit makes of a configuration.
struct Outcome {
  std::string config;
  bool accepted;  // by the server
};

// A construct in the places of its context.
class Construct : public testing::Test {
 public:
  Construct(const Dialect& dialect, Places places, fs::path path)
      : m_path(std::move(path)), m_dialect(dialect), m_places(std::move(places)) {}

  void TestBody() override {
    const std::string text = Read(File());
    for (const Place& place : m_places) {
      SCOPED_TRACE(place.name);
      const std::string config = Placed(text, place);
      const Outcome expected = Expected(
          place.name, Compact(config),
          Compact(Replaced(config, m_dialect.Line("/srv/plain"), m_dialect.Line("/srv/moved"))));
      EXPECT_EQ(m_dialect.Edited(config, place.opener), expected.config);
      EXPECT_EQ(m_dialect.Refusal(config), "") << "before the edit";
      const std::string refusal = m_dialect.Refusal(expected.config);
      EXPECT_EQ(refusal.empty(), expected.accepted) << "after the edit: " << refusal;
    }
  }

 protected:
  virtual fs::path File() const = 0;

  // What the edit makes of `config` in the place `place`. `changed` is `config` with the site's
  // line changed; both without what the library drops.
  virtual Outcome Expected(const std::string& place, const std::string& config,
                           const std::string& changed) = 0;

  const fs::path m_path;

 private:
  const Dialect& m_dialect;
  const Places m_places;
};

// Beside it the site is edited as if it stood alone.
class Beside : public Construct {
  using Construct::Construct;

  fs::path File() const override { return m_path; }

  Outcome Expected(const std::string& /*place*/, const std::string& /*config*/,
                   const std::string& changed) override {
    return {changed, true};
  }
};

// It is in the way of the edit in the places that have an outcome file. There the edit adds lines,
// and loses none.
class InTheWay : public Construct {
 public:
  using Construct::Construct;

  void TestBody() override {
    Construct::TestBody();
    std::sort(m_used.begin(), m_used.end());
    EXPECT_EQ(Files(m_path), m_used) << "a file of no place";
    EXPECT_GT(m_used.size(), 1U) << "nothing is in the way";
  }

 private:
  fs::path File() const override { return m_path / "construct"; }

  Outcome Expected(const std::string& place, const std::string& config,
                   const std::string& changed) override {
    for (const bool accepted : {true, false}) {
      const fs::path file = m_path / (place + (accepted ? ".accepted" : ".refused"));
      if (!fs::exists(file)) continue;
      m_used.push_back(file);
      const std::string outcome = Compact(Read(file));
      EXPECT_TRUE(outcome != changed || !accepted) << file << ": nothing is in the way";
      EXPECT_TRUE(HoldsLinesOf(outcome, config) || HoldsLinesOf(outcome, changed)) << file;
      return {outcome, accepted};
    }
    return {changed, true};
  }

  std::vector<fs::path> m_used{m_path / "construct"};
};

template <class Test>
void Register(const Dialect& dialect, const std::string& suite, const Places& places,
              const fs::path& folder) {
  for (const fs::path& path : Files(folder)) {
    testing::RegisterTest(
        suite.c_str(), path.filename().c_str(), nullptr, nullptr, __FILE__, __LINE__,
        [&dialect, places, path]() -> testing::Test* { return new Test(dialect, places, path); });
  }
}

void RegisterAll(const Dialect& dialect, const std::string& name) {
  const fs::path folder = fs::path(QELTEMPLATE_TESTS_DIR) / "constructs" / name;
  const auto contexts = dialect.Contexts();
  for (const fs::path& kind : {folder / "beside", folder / "in-the-way"}) {
    for (const fs::path& path : Files(kind)) {
      if (contexts.count(path.filename()) == 0) {
        throw std::runtime_error("no context: " + path.string());
      }
    }
  }
  for (const auto& [context, places] : contexts) {
    Register<Beside>(dialect, name + "_beside_" + context, places, folder / "beside" / context);
    Register<InTheWay>(dialect, name + "_in_the_way_" + context, places,
                       folder / "in-the-way" / context);
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const NginxServer nginx;
  const ApacheServer apache;
  RegisterAll(nginx, "nginx");
  RegisterAll(apache, "apache");
  return RUN_ALL_TESTS();
}
