// SPDX-License-Identifier: Apache-2.0

// Where in a block new directives and blocks go, rule by rule.
#include "edit/plan/placement.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

struct Line {
  const char* name;
  std::string config;
  std::string template_text;
  std::string expected;
};

// Each with what stands around its lines.
void ExpectIn(Dialect dialect, const std::string& before, const std::string& behind,
              const std::vector<Line>& lines) {
  std::vector<Case> cases;
  for (const Line& line : lines) {
    cases.push_back({line.name,
                     before + line.config + behind,
                     before + line.template_text + behind,
                     {},
                     before + line.expected + behind});
  }
  ExpectEdits(dialect, cases);
}

void ExpectInServer(const std::vector<Line>& lines) {
  ExpectIn(Dialect::kNginx, "server {\n\tserver_name a;\n", "}\n", lines);
}

void ExpectInHost(const std::vector<Line>& lines) {
  ExpectIn(Dialect::kApache, "<VirtualHost *:80>\n", "</VirtualHost>\n", lines);
}

// --- Directives ---

TEST(ANewDirective, WithoutItsLikeStandsAsNearToTheFirstBlockAsTheTemplateLets) {
  const std::string x = "\tlocation /x {\n\t}\n";
  ExpectInServer({
      {"behind what stands before the block, above the blank line", "\troot /a;\n\n" + x,
       "etag on;\nlocation /x {\n}\n", "\troot /a;\n\tetag on;\n\n" + x},
      {"behind the block that precedes it", x + "\tindex i;\n", "location /x {\n}\netag on;\n",
       x + "\tetag on;\n\tindex i;\n"},
      {"behind the directive that precedes it, behind the block",
       "\troot /a;\n" + x + "\tindex i;\n\texpires 1d;\n", "index i;\netag on;\n",
       "\troot /a;\n" + x + "\tindex i;\n\tetag on;\n\texpires 1d;\n"},
      {"not behind it where the file has another order", "\troot /a;\n" + x + "\tindex i;\n",
       "index i;\netag on;\nroot /a;\n", "\troot /a;\n\tetag on;\n" + x + "\tindex i;\n"},
      {"before the block where it precedes what follows that", x + "\tindex i;\n",
       "etag on;\nindex i;\n", "\tetag on;\n" + x + "\tindex i;\n"},
  });
  ExpectIn(Dialect::kNginx, "server {\n\tserver_name a;\n\tlocation / {\n", "\t}\n}\n",
           {{"before the first one, which follows it", "\t\troot /a;\n\t\tindex i;\n",
             "etag on;\nroot /a;\n", "\t\tetag on;\n\t\troot /a;\n\t\tindex i;\n"}});
}

TEST(ANewDirective, OfABlockWithoutDirectives) {
  const std::string x = "\t<Files x>\n\t</Files>\n";
  const std::string y = "\t<Files y>\n\t</Files>\n";
  ExpectInHost({
      {"stands before the first block", x + y, "Protocols h2\n", "\tProtocols h2\n" + x + y},
      {"stands behind the block that precedes it", x + y, x + "Protocols h2\n",
       x + "\tProtocols h2\n" + y},
      {"stands behind the last block where that precedes it", x + y, y + "Protocols h2\n",
       x + y + "\tProtocols h2\n"},
      {"stands behind comments", "\t# c\n", "Protocols h2\n", "\t# c\n\tProtocols h2\n"},
      {"stands behind the comment that precedes it", "\t# c\n", "# c\nProtocols h2\n",
       "\t# c\n\tProtocols h2\n"},
      {"stands before the comment that follows it", "\t# c\n", "Protocols h2\n# c\n",
       "\tProtocols h2\n\t# c\n"},
  });
}

TEST(ANewDirective, StandsInAConditionOnlyWhereAllOfItsNameDo) {
  const std::string own = "\tHeader set A 1\n";
  const std::string made = "\tHeader set N 1\n";
  const std::string other = "\tProtocols h2\n";
  const auto when = [](const char* condition, const std::string& lines) {
    return std::string("\t<IfModule ") + condition + ">\n" + lines + "\t</IfModule>\n";
  };
  const std::string b = "\t\tHeader set B 1\n";
  const std::string c = "\t\tHeader set C 1\n";
  const std::string made_inside = "\t" + made;
  ExpectInHost({
      {"one stands before the condition", own + other + when("m", b), made,
       own + made + other + when("m", b)},
      {"one stands behind it", when("m", b) + own + other, made, when("m", b) + own + made + other},
      {"one stands between two", when("m", b) + own + other + when("n", c), made,
       when("m", b) + own + made + other + when("n", c)},
      {"the last one in the block, not the last before the condition",
       own + other + when("m", b) + "\tHeader set D 1\n" + other, made,
       own + other + when("m", b) + "\tHeader set D 1\n" + made + other},
      {"all stand in one", other + when("m", b), made, other + when("m", b + made_inside)},
      {"all stand in two: the last one counts", when("m", b) + when("n", c) + other, made,
       when("m", b) + when("n", c + made_inside) + other},
      {"before the one there that the template has behind it", when("m", b + c), made + b,
       when("m", made_inside + b + c)},
      {"not before one in a condition where the block has its own", own + when("m", b), made + b,
       own + made + when("m", b)},
  });
}

// nginx reads no rule behind one that says what holds for all.
TEST(AnAccessRule, StandsBeforeTheOneForAll) {
  ExpectInServer({
      {"which is alone", "\tdeny all;\n", "allow 1.1.1.1;\n", "\tallow 1.1.1.1;\n\tdeny all;\n"},
      {"behind which others stand", "\tdeny all;\n\troot /a;\n", "allow 1.1.1.1;\n",
       "\tallow 1.1.1.1;\n\tdeny all;\n\troot /a;\n"},
      {"behind which one of its name stands", "\tdeny all;\n\tallow 2.2.2.2;\n", "allow 1.1.1.1;\n",
       "\tallow 1.1.1.1;\n\tdeny all;\n\tallow 2.2.2.2;\n"},
      {"which allows", "\tallow all;\n\troot /a;\n", "deny 1.1.1.1;\n",
       "\tdeny 1.1.1.1;\n\tallow all;\n\troot /a;\n"},
      {"which has its name", "\tdeny all;\n", "deny 1.1.1.1;\n", "\tdeny 1.1.1.1;\n\tdeny all;\n"},
      {"the first of several", "\tallow all;\n\tdeny all;\n", "deny 1.1.1.1;\n",
       "\tdeny 1.1.1.1;\n\tallow all;\n\tdeny all;\n"},
      {"behind a directive that precedes both", "\troot /a;\n\tdeny all;\n",
       "root /a;\nallow 1.1.1.1;\n", "\troot /a;\n\tallow 1.1.1.1;\n\tdeny all;\n"},
      {"behind those of its name, where these do", "\tallow 1.1.1.1;\n\troot /a;\n\tdeny all;\n",
       "allow 2.2.2.2;\n", "\tallow 1.1.1.1;\n\tallow 2.2.2.2;\n\troot /a;\n\tdeny all;\n"},
  });
  ExpectInServer({
      {"but where the template has it behind that", "\tdeny all;\n\troot /a;\n",
       "deny all;\nallow 1.1.1.1;\n", "\tdeny all;\n\troot /a;\n\tallow 1.1.1.1;\n"},
      {"but one for all itself", "\tdeny all;\n", "allow all;\n", "\tdeny all;\n\tallow all;\n"},
      {"of rules only", "\tsatisfy all;\n", "allow 1.1.1.1;\n",
       "\tsatisfy all;\n\tallow 1.1.1.1;\n"},
      {"and nothing else does", "\tdeny all;\n", "root all;\n", "\tdeny all;\n\troot all;\n"},
  });
}

// --- Blocks ---

TEST(ANewBlock, OfNginxsMainLevelStandsOutsideOfHttp) {
  const std::string http = "http {\n\tsendfile on;\n}\n";
  std::vector<Case> cases;
  for (const std::string name : {"events", "stream", "mail"}) {
    const std::string block = name + " {\n\tx y;\n}\n";
    cases.push_back({name, http, block, {}, http + block});
  }
  cases.push_back({"http", "events {\n}\n", http, {}, "events {\n}\n" + http});
  for (const std::string name : {"upstream u", "map a b", "server"}) {
    const std::string lines = name == "server" ? "server_name n;\n" : "x y;\n";
    cases.push_back(
        {name,
         http + "events {\n}\n",
         name + " {\n" + lines + "}\n",
         {},
         "http {\n\tsendfile on;\n\t" + name + " {\n\t\t" + lines + "\t}\n}\nevents {\n}\n"});
  }
  cases.push_back({"not what stands in another block",
                   "stream {\n\tupstream a {\n\t}\n}\n" + http,
                   "upstream n {\nx y;\n}\n",
                   {},
                   "stream {\n\tupstream a {\n\t}\n}\n" +
                       With(http, "on;\n", "on;\n\tupstream n {\n\t\tx y;\n\t}\n")});
  cases.push_back({"what stands beside http already",
                   "upstream a {\n}\n" + http,
                   "upstream n {\nx y;\n}\n",
                   {},
                   "upstream a {\n}\nupstream n {\n\tx y;\n}\n" + http});
  ExpectEdits(Dialect::kNginx, cases);
}

TEST(ANewBlock, StandsInTheLastConditionWithItsLike) {
  const auto when = [](const std::string& condition, const std::string& lines) {
    return "<IfModule " + condition + ">\n" + lines + "</IfModule>\n";
  };
  const auto directory = [](const std::string& path) {
    return "<Directory " + path + ">\n\tRequire all denied\n</Directory>\n";
  };
  const std::string made = directory("/n");
  ExpectEdits(
      Dialect::kApache,
      {{"of two",
        when("m", directory("/a")) + when("n", directory("/b")) + when("o", "X 1\n"),
        made,
        {},
        when("m", directory("/a")) + when("n", directory("/b") + made) + when("o", "X 1\n")},
       {"but beside its like, where one stands outside",
        directory("/a") + when("n", directory("/b")),
        made,
        {},
        directory("/a") + made + when("n", directory("/b"))},
       {"not in another block",
        "<Location /l>\n" + when("m", directory("/a")) + "</Location>\n",
        made,
        {},
        "<Location /l>\n" + when("m", directory("/a")) + "</Location>\n" + made}});
}

TEST(ANewBlock, StandsBehindABlankLineAsOthersOfItsNameDo) {
  const auto server = [](const std::string& name) {
    return "server {\n\tserver_name " + name + ";\n}";
  };
  const std::string a = server("a");
  const std::string b = server("b");
  const std::string n = server("n") + "\n";
  ExpectEdits(Dialect::kNginx,
              {{"behind a comment on the line",
                a + " # a\n\n" + b + " # b\n",
                n,
                {},
                a + " # a\n\n" + b + " # b\n\n" + n},
               {"behind the comment of the block itself",
                a + "\n\n# b\n" + b + "\n",
                n,
                {},
                a + "\n\n# b\n" + b + "\n\n" + n},
               {"not behind a line end", a + "\n" + b + "\n", n, {}, a + "\n" + b + "\n" + n},
               {"not as one of another name",
                "map x y {\n}\n\nmap x z {\n}\n" + a + "\n" + b + "\n",
                n,
                {},
                "map x y {\n}\n\nmap x z {\n}\n" + a + "\n" + b + "\n" + n},
               {"as any, where none has its name",
                "map x y {\n}\n\nmap x z {\n}\n",
                n,
                {},
                "map x y {\n}\n\nmap x z {\n}\n\n" + n}});
}

}  // namespace
}  // namespace tov_edit
