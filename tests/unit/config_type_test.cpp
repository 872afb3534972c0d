// SPDX-License-Identifier: Apache-2.0

#include "template/config_type.h"

#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "template/apache.h"
#include "template/nginx.h"

namespace {

using tov_template::Apache;
using tov_template::BaseConfig;
using tov_template::GetConfigType;
using tov_template::Nginx;

TEST(ConfigType, NginxIsMadeFromItsName) {
  const std::shared_ptr<BaseConfig> config = GetConfigType("Nginx", "a;\n\nserver {\n}\n");
  ASSERT_NE(config, nullptr);
  EXPECT_NE(dynamic_cast<Nginx*>(config.get()), nullptr);
  EXPECT_EQ(config.use_count(), 1);
  EXPECT_EQ(*config->GetList(), (std::list<std::string>{"a;", "server {", "}"}));
  EXPECT_EQ(config->Str(), "a;\nserver {\n}");
}

TEST(ConfigType, ApacheIsMadeFromItsName) {
  const std::shared_ptr<BaseConfig> config = GetConfigType("Apache", "a\n\n<A>\n</A>\n");
  ASSERT_NE(config, nullptr);
  EXPECT_NE(dynamic_cast<Apache*>(config.get()), nullptr);
  EXPECT_EQ(config.use_count(), 1);
  EXPECT_EQ(*config->GetList(), (std::list<std::string>{"a", "<A>", "</A>"}));
  EXPECT_EQ(config->Str(), "a\n<A>\n</A>");
}

TEST(ConfigType, DialectsFindTheirOwnDirectivesByName) {
  const std::set<std::string> names = {"SSLProtocol",  "SSLCipherSuite", "php_admin_value",
                                       "ssl_ciphers",  "ssl_protocols",  "ServerName",
                                       "SSLEngine",    "php_value",      "php_admin_flag",
                                       "DocumentRoot", "server_name",    ""};
  const auto known = [&](const std::string& type) {
    const std::shared_ptr<BaseConfig> config = GetConfigType(type, "");
    std::set<std::string> result;
    for (const std::string& name : names) {
      if (config->IsConstExpression(name + " x")) result.insert(name);
    }
    return result;
  };
  EXPECT_EQ(known("Apache"),
            (std::set<std::string>{"SSLProtocol", "SSLCipherSuite", "php_admin_value"}));
  EXPECT_EQ(known("Nginx"), (std::set<std::string>{"ssl_ciphers", "ssl_protocols"}));
}

TEST(ConfigType, AnEmptyConfigurationHasNoLines) {
  for (const char* const type : {"Nginx", "Apache"}) {
    SCOPED_TRACE(type);
    const std::shared_ptr<BaseConfig> config = GetConfigType(type, "");
    ASSERT_NE(config, nullptr);
    EXPECT_TRUE(config->GetList()->empty());
    EXPECT_EQ(config->Str(), "");
  }
  EXPECT_NE(dynamic_cast<Nginx*>(GetConfigType("Nginx", "").get()), nullptr);
  EXPECT_NE(dynamic_cast<Apache*>(GetConfigType("Apache", "").get()), nullptr);
}

TEST(ConfigType, TheTextDoesNotChooseTheDialect) {
  const std::shared_ptr<BaseConfig> nginx = GetConfigType("Nginx", "<VirtualHost *:80>\n");
  ASSERT_NE(dynamic_cast<Nginx*>(nginx.get()), nullptr);
  EXPECT_EQ(nginx->Str(), "<VirtualHost *:80>");
  const std::shared_ptr<BaseConfig> apache = GetConfigType("Apache", "server {\n}\n");
  ASSERT_NE(dynamic_cast<Apache*>(apache.get()), nullptr);
  EXPECT_EQ(apache->Str(), "server {\n}");
}

TEST(ConfigType, EveryCallMakesAnObjectOfItsOwn) {
  for (const char* const type : {"Nginx", "Apache"}) {
    SCOPED_TRACE(type);
    const std::shared_ptr<BaseConfig> a = GetConfigType(type, "a;");
    const std::shared_ptr<BaseConfig> b = GetConfigType(type, "a;");
    a->ChangeParam(a->GetList()->begin(), "b;");
    EXPECT_EQ(a->Str(), "b;");
    EXPECT_EQ(b->Str(), "a;");
  }
}

TEST(ConfigType, OtherNamesAreRefused) {
  using namespace std::string_literals;
  const std::string names[] = {"nginx",   "NGINX", " Nginx",    "Nginx ",   "Nginx\n",  "Ngin",
                               "Nginxx",  "",      " ",         "apache2",  "apache",   " Apache",
                               "Apache2", "IIS",   "*",         "Nginx\0"s, "\0Nginx"s, "APACHE",
                               "Apache ", "Apach", "Apache\0"s, "\0Apache"s};
  for (const std::string& name : names) {
    SCOPED_TRACE(testing::PrintToString(name));
    try {
      GetConfigType(name, "server {\n}\n");
      ADD_FAILURE() << "made a dialect";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(typeid(error), typeid(std::runtime_error));
      EXPECT_STREQ(error.what(), "Unknown config type");
    }
  }
}

TEST(ConfigType, DialectsAreDestroyedThroughTheirBase) {
  static_assert(std::has_virtual_destructor_v<BaseConfig>);
  for (const char* const type : {"Nginx", "Apache"}) {
    SCOPED_TRACE(type);
    std::weak_ptr<BaseConfig> gone;
    {
      const std::shared_ptr<BaseConfig> config = GetConfigType(type, "a;");
      const std::shared_ptr<BaseConfig> shared = config;
      gone = config;
      EXPECT_EQ(config.use_count(), 2);
    }
    EXPECT_TRUE(gone.expired());
  }
}

}  // namespace
