// SPDX-License-Identifier: Apache-2.0

// qeltemplate adopt: where the template and the values go, and what is said.

#include <gtest/gtest.h>

#include <string>

#include "cli/program.h"

namespace {

class AdoptCommand : public Program {
 protected:
  Outcome Adopt(Words more, const std::string& input = "") const {
    more.insert(more.begin(), {"adopt", "--dialect", "nginx"});
    return Run(more, input);
  }

  static constexpr char kAdopted[] =
      "server {\n\tserver_name {% $name %};\n\troot {% $root %};\n}\n";
  static constexpr char kValues[] =
      "{\n  \"name\": {\n    \"old\": \"a.example\",\n    \"new\": \"a.example\"\n  },\n"
      "  \"root\": {\n    \"old\": \"/srv/a\",\n    \"new\": \"/srv/a\"\n  }\n}\n";
};

TEST_F(AdoptCommand, WritesBothToStandardOutput) {
  const std::string both = std::string(kAdopted) + "\n" + kValues;
  ExpectText(Adopt({"site.conf"}), both);
  ExpectText(Adopt({}, kSite), both);
  ExpectText(Adopt({"-"}, kSite), both);
}

TEST_F(AdoptCommand, WritesFiles) {
  ExpectText(Adopt({"--template", "new.template", "--values", "new.json", "site.conf"}), "");
  EXPECT_EQ(m_sandbox.Read("new.template"), kAdopted);
  EXPECT_EQ(m_sandbox.Read("new.json"), kValues);
  ExpectText(Adopt({"--template", "other.template", "site.conf"}), kValues);
  EXPECT_EQ(m_sandbox.Read("other.template"), kAdopted);
  ExpectText(Adopt({"--values", "other.json", "site.conf"}), kAdopted);
  EXPECT_EQ(m_sandbox.Read("other.json"), kValues);
}

TEST_F(AdoptCommand, ReplacesAFileOnlyWhenAsked) {
  m_sandbox.Write("values.json", "mine");
  const Words files = {"--template", "new.template", "--values", "values.json", "site.conf"};
  ExpectFailure(Adopt(files), "values.json: is there already; --overwrite replaces it");
  EXPECT_EQ(m_sandbox.Read("values.json"), "mine");
  EXPECT_FALSE(std::filesystem::exists(m_sandbox.PathOf("new.template")));
  Words overwriting = files;
  overwriting.insert(overwriting.begin(), "--overwrite");
  ExpectText(Adopt(overwriting), "");
  EXPECT_EQ(m_sandbox.Read("values.json"), kValues);
}

TEST_F(AdoptCommand, MakesWhatApplyTakes) {
  Adopt({"--template", "new.template", "--values", "new.json", "site.conf"});
  const auto apply = [&](const Words& more) {
    Words words = {"apply",        "--dialect", "nginx",    "--template",
                   "new.template", "--values",  "new.json", "site.conf"};
    words.insert(words.end(), more.begin(), more.end());
    return Run(words);
  };
  ExpectText(apply({}), kSite);
  ExpectText(apply({"--set", "name=b.example"}),
             "server {\nserver_name b.example;\nroot /srv/a;\n}\n");
}

TEST_F(AdoptCommand, SaysWhatIsLeftOut) {
  const Outcome outcome = Adopt(
      {"--managed", "root"}, "server {\nserver_name a.example;\nroot /srv/a;\nroot /srv/b;\n}\n");
  EXPECT_EQ(outcome.exit_code, 6);
  EXPECT_EQ(outcome.err.find("qeltemplate: (standard input):4:1: 'root /srv/b;' is left out: "), 0U)
      << outcome.err;
  EXPECT_EQ(outcome.out, std::string(kAdopted) + "\n" + kValues);
}

TEST_F(AdoptCommand, TakesOnlyWhatIsManaged) {
  ExpectText(Adopt({"--managed", "index,gzip", "--managed", "expires", "--values", "new.json"},
                   "server {\nserver_name a.example;\nroot /srv/a;\ngzip on;\nexpires 1d;\n}\n"),
             "server {\n\tserver_name {% $name %};\n\tgzip on;\n\texpires 1d;\n}\n");
}

TEST_F(AdoptCommand, RefusesWhatCannotBeMeant) {
  const Outcome outcome = Adopt({"--site", "b.example", "site.conf"});
  EXPECT_EQ(outcome.exit_code, 4);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err,
            "qeltemplate: site.conf: no template:\n  site.conf:1:1: there is no site 'b.example': "
            "site.conf:1 'a.example'. Name one of them, by its name, its address or its line "
            "[site]\n");
}

TEST_F(AdoptCommand, LeadsFromOneConfigurationToAnother) {
  m_sandbox.Write("new.conf", "server {\nserver_name a.example;\nroot /srv/b;\n}\n");
  ExpectText(Adopt({"--template", "new.template", "--values", "new.json", "site.conf", "new.conf"}),
             "");
  EXPECT_EQ(m_sandbox.Read("new.template"),
            "server {\n\tserver_name a.example;\n\troot {% $root %};\n}\n");
  ExpectText(Run({"apply", "--dialect", "nginx", "--template", "new.template", "--values",
                  "new.json", "site.conf"}),
             m_sandbox.Read("new.conf"));
  const Outcome same = Adopt({"site.conf", "site.conf"});
  EXPECT_EQ(same.exit_code, 4);
  EXPECT_EQ(same.err,
            "qeltemplate: site.conf: no template:\n  site.conf: the two do not differ "
            "[difference]\n");
}

TEST_F(AdoptCommand, MakesOneTemplateOfManySites) {
  m_sandbox.Write("b.conf", "server {\nserver_name b.example;\nroot /srv/b;\ngzip on;\n}\n");
  const Words words = {"--common", "--template", "new.template", "--values",
                       "values",   "site.conf",  "b.conf"};
  ExpectText(Adopt(words), "b.conf:4:1: 'gzip on;' [beyond]\n2 of 2 sites share the template\n");
  EXPECT_EQ(m_sandbox.Read("new.template"),
            "server {\n\tserver_name {% $name %} [% $aliases %];\n\troot {% $root %};\n}\n");
  for (const char* const site : {"site", "b"}) {
    const std::string config = std::string(site) + ".conf";
    ExpectText(Run({"apply", "--dialect", "nginx", "--template", "new.template", "--values",
                    "values/" + std::string(site) + ".json", config}),
               m_sandbox.Read(config));
  }
  EXPECT_EQ(Adopt(words).exit_code, 3) << "the files are there";
}

TEST_F(AdoptCommand, NamesFilesOfValuesAfterTheSites) {
  const std::string site = kSite;
  for (const char* const name : {"a.example", "a.org", "b.conf"}) m_sandbox.Write(name, site);
  EXPECT_EQ(Adopt({"--common", "--template", "new.template", "--values", "values", "a.example",
                   "a.org", "b.conf"})
                .exit_code,
            0);
  for (const char* const name : {"a.example.json", "a.org.json", "b.json"}) {
    EXPECT_TRUE(std::filesystem::exists(m_sandbox.PathOf(std::string("values/") + name))) << name;
  }
}

TEST_F(AdoptCommand, KnowsWhatIsWrongUsage) {
  EXPECT_EQ(Adopt({"--common", "--template", "t", "site.conf"}).exit_code, 2);
  EXPECT_EQ(Adopt({"--common", "--values", "v", "site.conf"}).exit_code, 2);
  EXPECT_EQ(Adopt({"a", "b", "c"}).exit_code, 2);
  EXPECT_EQ(Adopt({"-", "-"}).exit_code, 2);
  EXPECT_EQ(Adopt({"--value", "a=b", "site.conf", "site.conf"}).exit_code, 2);
  for (const char* const value : {"a", "=a", "a="}) {
    EXPECT_EQ(Adopt({"--value", value, "site.conf"}).exit_code, 2) << value;
  }
  EXPECT_EQ(Adopt({"--value", "a=b", "--value", "a=c", "site.conf"}).exit_code, 2);
  EXPECT_EQ(Adopt({"--managed", "root,,index", "site.conf"}).exit_code, 2);
}

}  // namespace
