#include "template/config_type.h"

#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "template/nginx.h"

namespace {

using tov_template::BaseConfig;
using tov_template::GetConfigType;
using tov_template::Nginx;

TEST(ConfigType, NginxIsMadeFromItsName) {
  const std::shared_ptr<BaseConfig> config = GetConfigType("Nginx", "a;\n\nserver {\n}\n");
  ASSERT_NE(config, nullptr);
  EXPECT_EQ(typeid(*config), typeid(Nginx));
  EXPECT_EQ(config.use_count(), 1);
  EXPECT_EQ(*config->GetList(), (std::list<std::string>{"a;", "server {", "}"}));
  EXPECT_EQ(config->Str(), "a;\nserver {\n}");
}

TEST(ConfigType, AnEmptyConfigurationHasNoLines) {
  const std::shared_ptr<BaseConfig> config = GetConfigType("Nginx", "");
  ASSERT_NE(dynamic_cast<Nginx*>(config.get()), nullptr);
  EXPECT_TRUE(config->GetList()->empty());
  EXPECT_EQ(config->Str(), "");
}

TEST(ConfigType, TheTextDoesNotChooseTheDialect) {
  const std::shared_ptr<BaseConfig> config = GetConfigType("Nginx", "<VirtualHost *:80>\n");
  ASSERT_NE(dynamic_cast<Nginx*>(config.get()), nullptr);
  EXPECT_EQ(config->Str(), "<VirtualHost *:80>");
}

TEST(ConfigType, EveryCallMakesAnObjectOfItsOwn) {
  const std::shared_ptr<BaseConfig> a = GetConfigType("Nginx", "a;");
  const std::shared_ptr<BaseConfig> b = GetConfigType("Nginx", "a;");
  a->ChangeParam(a->GetList()->begin(), "b;");
  EXPECT_EQ(a->Str(), "b;");
  EXPECT_EQ(b->Str(), "a;");
}

TEST(ConfigType, OtherNamesAreRefused) {
  using namespace std::string_literals;
  const std::string names[] = {"nginx",   "NGINX", " Nginx", "Nginx ",   "Nginx\n", "Ngin",
                               "Nginxx",  "",      " ",      "apache2",  "apache",  " Apache",
                               "Apache2", "IIS",   "*",      "Nginx\0"s, "\0Nginx"s};
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
  std::weak_ptr<BaseConfig> gone;
  {
    const std::shared_ptr<BaseConfig> config = GetConfigType("Nginx", "a;");
    const std::shared_ptr<BaseConfig> shared = config;
    gone = config;
    EXPECT_EQ(config.use_count(), 2);
  }
  EXPECT_TRUE(gone.expired());
}

}  // namespace
