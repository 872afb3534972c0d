// SPDX-License-Identifier: Apache-2.0

// When two directives are one.

#include "edit/match/comparison.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace tov_edit {
namespace {

constexpr Dialect kNginx = Dialect::kNginx;
constexpr Dialect kApache = Dialect::kApache;

struct Pair {
  Dialect dialect;
  Texts a;
  Texts b;
  bool same;
};

std::string Shown(const Pair& pair) {
  std::string shown;
  for (const std::string& word : pair.a) shown += "[" + word + "]";
  shown += " and ";
  for (const std::string& word : pair.b) shown += "[" + word + "]";
  return shown;
}

TEST(Directives, AreOneWhenTheirWordsAre) {
  const std::vector<Pair> pairs = {
      {kNginx, {"root", "/a"}, {"root", "/a"}, true},
      {kNginx, {"root", "/a"}, {"root", "/ab"}, false},
      {kNginx, {"root", "/a"}, {"root", "/a", "x"}, false},
      {kNginx, {"root", "/a"}, {"Root", "/a"}, false},
      {kNginx, {"set", "$x", "a b"}, {"set", "$x", "a", "b"}, false},
      {kNginx, {"location", "=", "/x"}, {"location", "=/x"}, true},
      {kNginx, {"location", "~*", "x"}, {"location", "~*x"}, true},
      {kNginx, {"location", "^~", "/x"}, {"location", "^~/x"}, true},
      {kNginx, {"location", "/x", "/y"}, {"location", "/x/y"}, false},
      {kNginx, {"location", "=", "/x"}, {"location", "/x"}, false},
      {kNginx, {"if", "($a", "=", "b)"}, {"if", "(", "$a", "=", "b", ")"}, true},
      {kNginx, {"if", "($a)"}, {"if", "(", "$a)"}, true},
      {kNginx, {"if", "($a)"}, {"if", "($b)"}, false},
      {kNginx, {"if", "($a", "~", "(b))"}, {"if", "($a", "~", "(b)", ")"}, true},
      {kNginx, {"if", "($a", "~", "(b))"}, {"if", "($a", "~", "(b", ")"}, false},
      {kNginx, {"if", "()"}, {"if", "(", ")"}, true},
      {kNginx, {"if", "($ab"}, {"if", "($ac"}, false},
      {kNginx, {"if", "($a"}, {"if", "($a)"}, true},
      {kNginx, {"if"}, {"if"}, true},
      {kNginx, {"if"}, {"if", "($a)"}, false},
      {kNginx, {"set", "$x", "(a"}, {"set", "$x", "(", "a"}, false},
      {kApache, {"If", "(a)"}, {"If", "(", "a", ")"}, false},
      {kNginx, {"server"}, {"server"}, true},
      {kNginx, {}, {}, true},
      {kNginx, {}, {"server"}, false},
      {kApache, {"DocumentRoot", "/a"}, {"documentroot", "/a"}, true},
      {kApache, {"SetEnv", "A", "1"}, {"SetEnv", "a", "1"}, false}};
  for (const Pair& pair : pairs) {
    EXPECT_EQ(SameWords(pair.dialect, pair.a, pair.b), pair.same) << Shown(pair);
    EXPECT_EQ(SameWords(pair.dialect, pair.b, pair.a), pair.same) << Shown(pair);
    if (pair.same) {
      EXPECT_EQ(KeyOf(pair.dialect, pair.a), KeyOf(pair.dialect, pair.b)) << Shown(pair);
    }
  }
}

TEST(Heads, AreOfOneBlockWhenTheyShareAnAddress) {
  const std::vector<Pair> pairs = {
      {kApache, {"VirtualHost", "*:80"}, {"virtualhost", "0.0.0.0:80"}, true},
      {kApache, {"VirtualHost", "*:80", "*:81"}, {"VirtualHost", "*:82", "*:81"}, true},
      {kApache, {"VirtualHost", "*:80"}, {"VirtualHost", "*:81"}, false},
      {kApache, {"VirtualHost", "*:80"}, {"Directory", "*:80"}, false},
      {kApache, {"VirtualHost", "_default_:443"}, {"VirtualHost", "*:443"}, true},
      {kApache, {"VirtualHost", "[::]:443"}, {"VirtualHost", "*:443"}, true},
      {kApache, {"VirtualHost", "A.example:80"}, {"VirtualHost", "a.example:80"}, true},
      {kApache, {"VirtualHost", "[::1]:80"}, {"VirtualHost", "[0::1]:80"}, true},
      {kApache, {"Directory", "/a"}, {"directory", "/a"}, true},
      {kApache, {"Directory", "/a"}, {"Directory", "/A"}, false},
      {kApache, {"Directory", "/a"}, {"directory", "/a/"}, true},
      {kApache, {"Directory", "/a//"}, {"Directory", "/a/"}, true},
      {kApache, {"Directory", "/"}, {"Directory", "/a/"}, false},
      {kApache, {"Directory", "/a"}, {"Directory", "/ab"}, false},
      {kApache, {"Directory", "~", "/a"}, {"Directory", "~", "/a/"}, false},
      {kApache, {"DirectoryMatch", "/a"}, {"DirectoryMatch", "/a/"}, false},
      {kApache, {"Location", "/a"}, {"Location", "/a/"}, false},
      {kNginx, {"location", "/a"}, {"location", "/a"}, true},
      {kNginx, {"server"}, {"server"}, true},
      {kNginx, {}, {}, false}};
  for (const Pair& pair : pairs) {
    EXPECT_EQ(SameHead(pair.dialect, pair.a, pair.b), pair.same) << Shown(pair);
    EXPECT_EQ(SameHead(pair.dialect, pair.b, pair.a), pair.same) << Shown(pair);
  }
}

TEST(Locations, AreTwinsWhenNginxTakesOneOfThemOnly) {
  const std::vector<Pair> pairs = {
      {kNginx, {"location", "/a"}, {"location", "/a"}, true},
      {kNginx, {"location", "/a"}, {"location", "^~", "/a"}, true},
      {kNginx, {"location", "/a"}, {"location", "^~/a"}, true},
      {kNginx, {"location", "^~", "/a"}, {"location", "^~/a"}, true},
      {kNginx, {"location", "=", "/a"}, {"location", "=/a"}, true},
      {kNginx, {"location", "/a"}, {"location", "/a/"}, false},
      {kNginx, {"location", "/a"}, {"location", "=", "/a"}, false},
      {kNginx, {"location", "^~", "/a"}, {"location", "~", "/a"}, false},
      {kNginx, {"location", "^~", "/a"}, {"location", "~*", "/a"}, false},
      {kNginx, {"location", "@a"}, {"location", "@a"}, true},
      {kNginx, {"location", "@a"}, {"location", "@b"}, false},
      {kNginx, {"location", "^~"}, {"location"}, false},
      {kNginx, {"location", "=/a"}, {"location", "^~", "=/a"}, false},
      {kNginx, {"location", "~", "/a"}, {"location", "^~", "~/a"}, false},
      {kNginx, {"location", ""}, {"location", "^~"}, false},
      {kNginx, {"location", "", "/a"}, {"location", "^~", "/a"}, true},
      {kNginx, {"location", "^~", "/a", "/b"}, {"location", "/a/b"}, false},
      {kNginx, {"upstream", "/a"}, {"upstream", "^~", "/a"}, false},
      {kNginx, {"upstream", "a"}, {"upstream", "a"}, true},
      {kNginx, {"upstream", "a"}, {"location", "a"}, false},
      {kApache, {"Location", "/a"}, {"Location", "^~", "/a"}, false},
      {kNginx, {}, {"location", "/a"}, false}};
  for (const Pair& pair : pairs) {
    EXPECT_EQ(AreTwins(pair.dialect, pair.a, pair.b), pair.same) << Shown(pair);
    EXPECT_EQ(AreTwins(pair.dialect, pair.b, pair.a), pair.same) << Shown(pair);
    if (!pair.same) continue;
    EXPECT_EQ(TwinKey(pair.dialect, pair.a), TwinKey(pair.dialect, pair.b)) << Shown(pair);
  }
}

TEST(ABeginning, IsWholeWordsAndAPartOfOne) {
  struct Begun {
    Dialect dialect;
    Texts words;
    Beginning beginning;
    bool begins;
  };
  const std::vector<Begun> all = {
      {kNginx, {"root", "/a"}, {{"root"}, ""}, true},
      {kNginx, {"root"}, {{"root"}, ""}, true},
      {kNginx, {"rooted", "/a"}, {{"root"}, ""}, false},
      {kNginx, {"Root", "/a"}, {{"root"}, ""}, false},
      {kApache, {"ErrorDocument", "404", "x"}, {{"errordocument", "404"}, ""}, true},
      {kNginx, {"error_page", "404", "x"}, {{"error_page", "403"}, ""}, false},
      {kNginx, {"error_page"}, {{"error_page", "403"}, ""}, false},
      {kNginx, {"access_log", "/var/a"}, {{"access_log"}, "/var/"}, true},
      {kNginx, {"access_log", "/srv/a"}, {{"access_log"}, "/var/"}, false},
      {kNginx, {"access_log"}, {{"access_log"}, "/var/"}, false},
      {kApache, {"Directory", "/srv/a"}, {{"directory"}, "/srv/"}, true},
      {kApache, {"Directory", "/srv"}, {{"Directory"}, "/srv/"}, true},
      {kApache, {"Directory", "/srv"}, {{"Directory"}, "/srv/a"}, false},
      {kApache, {"Directory", "/srv/"}, {{"Directory", "/srv"}, ""}, true},
      {kNginx, {"root", "/a"}, {{}, "ro"}, true},
      {kNginx, {"if", "(", "$a", "=", "b", ")"}, {{"if", "($a"}, ""}, true},
      {kNginx, {"if", "($a", "=", "b)"}, {{"if", "(", "$a"}, ""}, true},
      {kNginx, {"if", "(", "$ab)"}, {{"if"}, "($a"}, true},
      {kNginx, {"if", "($b)"}, {{"if"}, "($a"}, false},
      {kNginx, {"if", "($ab)"}, {{"if"}, "$a"}, true},
      {kNginx, {"if", "($ab)"}, {{"if"}, "a"}, false},
      {kNginx, {"if", "($ab)"}, {{"if"}, ""}, true},
      {kNginx, {"location", "(a)", "b"}, {{"location", "(a)"}, ""}, true},
      {kNginx, {"location", "(a)", "b"}, {{"location", "a)"}, ""}, false},
      {kNginx, {"location", "(a)", "b"}, {{"location"}, "(a"}, true},
      {kNginx, {"location", "(a)", "b"}, {{"location"}, "a"}, false},
      {kNginx, {}, {{}, ""}, false}};
  for (const Begun& begun : all) {
    EXPECT_EQ(BeginsWith(begun.dialect, begun.words, begun.beginning), begun.begins)
        << Shown({begun.dialect, begun.words, begun.beginning.words, false});
    if (!begun.begins) continue;
    const std::string key = KeyOf(begun.dialect, begun.beginning);
    EXPECT_EQ(KeyOf(begun.dialect, begun.words).substr(0, key.size()), key)
        << Shown({begun.dialect, begun.words, begun.beginning.words, false});
  }
}

TEST(Roles, AreThoseOfNamesAddressesAndOptions) {
  EXPECT_EQ(RoleOf(kNginx, "server_name"), Role::kNames);
  EXPECT_EQ(RoleOf(kNginx, "listen"), Role::kAddress);
  EXPECT_EQ(RoleOf(kNginx, "Listen"), Role::kPlain);
  EXPECT_EQ(RoleOf(kNginx, "root"), Role::kPlain);
  EXPECT_EQ(RoleOf(kApache, "servername"), Role::kNames);
  EXPECT_EQ(RoleOf(kApache, "SERVERALIAS"), Role::kNames);
  EXPECT_EQ(RoleOf(kApache, "Listen"), Role::kPlain);
  EXPECT_EQ(RoleOf(kApache, "options"), Role::kOptions);
  EXPECT_TRUE(IsVirtualHost(kApache, "virtualHOST"));
  EXPECT_FALSE(IsVirtualHost(kNginx, "VirtualHost"));
}

TEST(Names, AreInNormalForm) {
  EXPECT_EQ(NamesIn(kNginx, {"server_name", "A.example", "~^X$", ""}),
            Texts({"a.example", "~^X$", ""}));
  EXPECT_EQ(NamesIn(kNginx, {"root", "a"}), Texts());
  EXPECT_EQ(NamesIn(kNginx, {}), Texts());
  EXPECT_EQ(NamesIn(kApache, {"ServerName", "https://A.example:443"}), Texts({"a.example"}));
  EXPECT_EQ(NamesIn(kApache, {"ServerAlias", "*.A", "b"}), Texts({"*.a", "b"}));
}

TEST(Addresses, AreInNormalForm) {
  EXPECT_EQ(AddressesIn(kNginx, {"listen", "80"}), Texts({"*:80"}));
  EXPECT_EQ(AddressesIn(kNginx, {"listen", "[0::]:80"}), Texts({"[::]:80"}));
  EXPECT_EQ(AddressesIn(kNginx, {"listen", "[::ffff:127.0.0.1]:80"}),
            Texts({"[::ffff:127.0.0.1]:80"}));
  EXPECT_EQ(AddressesIn(kApache, {"VirtualHost", "0.0.0.0:080", "_default_", "[0:0::1]:80"}),
            Texts({"*:80", "*:*", "[::1]:80"}));
  EXPECT_EQ(AddressesIn(kApache, {"VirtualHost", "[::]:80", "[0:0::]", "0:80", "127.1:80",
                                  "[::FFFF:127.0.0.1]:80", "[::ffff:0.0.0.0]:80", "1.example:80",
                                  "[x]:80", "0127.0.0.1:80"}),
            Texts({"*:80", "*:*", "*:80", "127.0.0.1:80", "127.0.0.1:80", "0.0.0.0:80",
                   "1.example:80", "[x]:80", "87.0.0.1:80"}));
}

TEST(OptionsWords, AreMixedWithAndWithoutASign) {
  const std::vector<std::pair<Texts, bool>> all = {{{}, false},
                                                   {{"Indexes", "MultiViews"}, false},
                                                   {{"+Indexes", "-MultiViews"}, false},
                                                   {{"Indexes", "+MultiViews"}, true},
                                                   {{"+Indexes", "MultiViews"}, true},
                                                   {{"None", "+Indexes"}, false},
                                                   {{"all", "-Indexes"}, false},
                                                   {{"Indexes", "None", "+MultiViews"}, true},
                                                   {{"+Indexes", "None"}, true},
                                                   {{"${X}", "Indexes", "+MultiViews"}, false}};
  for (const auto& [words, mixed] : all) {
    EXPECT_EQ(AreMixedOptions(words), mixed) << Shown({kApache, words, {}, false});
  }
}

TEST(Lists, MayHoldOrShareATextAtAll) {
  EXPECT_TRUE(Contains({"a", "b"}, "b"));
  EXPECT_FALSE(Contains({"a", "b"}, "c"));
  EXPECT_FALSE(Contains({}, ""));
  EXPECT_TRUE(ShareOne({"a", "b"}, {"c", "b"}));
  EXPECT_FALSE(ShareOne({"a", "b"}, {"c"}));
  EXPECT_FALSE(ShareOne({}, {}));
}

TEST(Among, FewTextsAndManyIsFoundWhatIsThere) {
  Texts texts;
  for (int i = 0; i < 100; ++i) {
    const Among among(texts);
    for (int j = 0; j < 100; ++j) EXPECT_EQ(among.Has(std::to_string(j)), j < i) << i << " " << j;
    texts.push_back(std::to_string(i));
  }
}

}  // namespace
}  // namespace tov_edit
