// SPDX-License-Identifier: Apache-2.0

// Asks a running Apache httpd whether edits of its configuration take.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>

#include "server/live_story.h"
#include "template/framework/str.h"

namespace {

std::string ServerConfig() {
  std::string config;
  for (const std::string module : {"mpm_event", "authz_core", "alias", "autoindex", "dir", "mime",
                                   "setenvif", "socache_shmcb", "ssl"}) {
    config += "LoadModule " + module + "_module /usr/lib/apache2/modules/mod_" + module + ".so\n";
  }
  return config + R"(ServerName default.example
DefaultRuntimeDir FOLDER
PidFile httpd.pid
ErrorLog logs/error.log
TypesConfig /dev/null
StartServers 1
ThreadsPerChild 4
MinSpareThreads 1
MaxSpareThreads 8
MaxRequestWorkers 8
Listen 127.0.0.1:PORT_A
<Directory />
	Options None
	AllowOverride None
</Directory>
<Directory FOLDER/www>
	Require all granted
</Directory>
<VirtualHost 127.0.0.1:PORT_A 127.0.0.1:PORT_B 127.0.0.1:PORT_C>
	ServerName default.example
	DocumentRoot FOLDER/www/default
</VirtualHost>
Include site.conf
)";
}

const ServerKind kApache = {
    "Apache",
    ServerConfig(),
    "User www-data\nGroup www-data\n",
    "apache2 -t -d FOLDER -f server.conf",
    "apache2 -d FOLDER -f server.conf -DFOREGROUND",
    SIGUSR1,
};

// The sites of two customers, and the addresses that the server listens on beside PORT_A. Each site
// has an address of its own: a virtual host is known by its opening line.
const std::string kSites = R"(# Sites of two customers.
<IfModule alias_module>
	Listen 127.0.0.1:PORT_B
</IfModule>
<VirtualHost 127.0.0.1:PORT_B>
	ServerName a.example
	ServerAlias www.a.example
	DocumentRoot FOLDER/www/one
	DirectoryIndex index.html
	# the customer's own
	Redirect permanent /old http://a.example:PORT_B/docs/
	Alias /pictures FOLDER/www/pictures
	Alias /music FOLDER/www/music
	<Directory FOLDER/www/one/docs>
		Options Indexes FollowSymLinks
	</Directory>
	<Location /music/secret>
		Require all denied
		LimitRequestBody 1000
		ErrorDocument 403 closed
	</Location>
</VirtualHost>
<VirtualHost 127.0.0.1:PORT_A>
	ServerName neighbour.example
	DocumentRoot FOLDER/www/neighbour
	DirectoryIndex index.html
	<Directory FOLDER/www/neighbour>
		Options FollowSymLinks
	</Directory>
</VirtualHost>)";

std::string ManyAliases() {
  std::string aliases;
  for (int i = 1; i <= 500; ++i) aliases += " alias-" + std::to_string(i) + ".a.example";
  return aliases.substr(1);
}

const Story kStories[] = {
    {
        "site_renamed",
        kSites,
        {{R"(<VirtualHost 127.0.0.1:PORT_B>
	ServerName {% $name %}
	ServerAlias www.{% $name %}
</VirtualHost>)",
          {{"name", "a.example", "b.example"}}}},
        {{"http://a.example:PORT_B/", {"200 one", "200 default site"}},
         {"http://www.a.example:PORT_B/", {"200 one", "200 default site"}},
         {"http://b.example:PORT_B/", {"200 default site", "200 one"}},
         {"http://www.b.example:PORT_B/", {"200 default site", "200 one"}},
         {"http://b.example:PORT_B/pictures/cat.txt", {"404", "200 cat"}}},
    },
    {
        "aliases_changed_then_removed",
        kSites,
        {{R"(<VirtualHost 127.0.0.1:PORT_B>
	ServerAlias {% $aliases %}
</VirtualHost>)",
          {{"aliases", "www.a.example", "m.a.example *.shop.a.example"}}},
         {R"(<VirtualHost 127.0.0.1:PORT_B>
{% if $aliases %}
	ServerAlias {% $names %}
{% endif %}
</VirtualHost>)",
          {{"names", "m.a.example *.shop.a.example", tov_template::NullValue()}}}},
        {{"http://a.example:PORT_B/", {"200 one", "200 one", "200 one"}},
         {"http://www.a.example:PORT_B/", {"200 one", "200 default site", "200 default site"}},
         {"http://m.a.example:PORT_B/", {"200 default site", "200 one", "200 default site"}},
         {"http://new.shop.a.example:PORT_B/",
          {"200 default site", "200 one", "200 default site"}}},
    },
    {
        // Longer than the line that holds one piece of them.
        "many_aliases",
        kSites,
        {{R"(<VirtualHost 127.0.0.1:PORT_B>
	ServerAlias {% $aliases %}
</VirtualHost>)",
          {{"aliases", "www.a.example", ManyAliases()}}}},
        {{"http://www.a.example:PORT_B/", {"200 one", "200 default site"}},
         {"http://alias-1.a.example:PORT_B/", {"200 default site", "200 one"}},
         {"http://alias-500.a.example:PORT_B/", {"200 default site", "200 one"}},
         {"http://alias-501.a.example:PORT_B/", {"200 default site", "200 default site"}}},
    },
    {
        "index_changed",
        kSites,
        {{R"(<VirtualHost 127.0.0.1:PORT_B>
	DirectoryIndex {% $index %}
</VirtualHost>)",
          {{"index", "index.html", "missing.html start.html index.html"}}}},
        {{"http://a.example:PORT_B/", {"200 one", "200 start of one"}},
         {"http://a.example:PORT_B/index.html", {"200 one", "200 one"}}},
    },
    {
        "alias_removed",
        kSites,
        {{R"(<VirtualHost 127.0.0.1:PORT_B>
{% if $pictures %}
	Alias /pictures {% $folder %}
{% endif %}
</VirtualHost>)",
          {{"folder", "FOLDER/www/pictures", "FOLDER/www/pictures"}}}},
        {{"http://a.example:PORT_B/pictures/cat.txt", {"200 cat", "404"}},
         {"http://a.example:PORT_B/music/song.txt", {"200 song", "200 song"}},
         {"http://a.example:PORT_B/", {"200 one", "200 one"}}},
    },
    {
        "alias_changed",
        kSites,
        {{R"(<VirtualHost 127.0.0.1:PORT_B>
	Alias {% $path %} {% $folder %}
</VirtualHost>)",
          {{"path", "/music", "/photos"}, {"folder", "FOLDER/www/music", "FOLDER/www/pictures"}}}},
        {{"http://a.example:PORT_B/music/song.txt", {"200 song", "404"}},
         {"http://a.example:PORT_B/photos/cat.txt", {"404", "200 cat"}},
         {"http://a.example:PORT_B/pictures/cat.txt", {"200 cat", "200 cat"}}},
    },
    {
        "location_removed_then_another_added",
        kSites,
        {{R"(<VirtualHost 127.0.0.1:PORT_B>
{% if $secret %}
	<Location /music/secret>
		ErrorDocument 403 closed
	</Location>
{% endif %}
</VirtualHost>)",
          {}},
         {R"(<VirtualHost 127.0.0.1:PORT_B>
	<Location {% $closed %}>
		Require all denied
	</Location>
</VirtualHost>)",
          {{"closed", tov_template::NullValue(), "/pictures"}}}},
        {{"http://a.example:PORT_B/music/secret", {"403", "404", "404"}},
         {"http://a.example:PORT_B/pictures/cat.txt", {"200 cat", "200 cat", "403"}},
         {"http://a.example:PORT_B/music/song.txt", {"200 song", "200 song", "200 song"}}},
    },
    {
        "redirect_changed",
        kSites,
        {{R"(<VirtualHost 127.0.0.1:PORT_B>
	Redirect {% $kind %} /old {% $target %}
</VirtualHost>)",
          {{"kind", "permanent", "temp"},
           {"target", "http://a.example:PORT_B/docs/", "http://new.example/"}}}},
        {{"http://a.example:PORT_B/old",
          {"301 http://a.example:PORT_B/docs/", "302 http://new.example/"}},
         {"http://a.example:PORT_B/docs/page.html", {"200 page of one", "200 page of one"}}},
    },
    {
        // A block in a block is found and changed without indentation in the template.
        "root_changed",
        kSites,
        {{R"(<VirtualHost 127.0.0.1:PORT_B>
	DocumentRoot {% $root %}
<Directory {% $root %}/docs>
	Options Indexes
</Directory>
</VirtualHost>)",
          {{"root", "FOLDER/www/one", "FOLDER/www/two"}}}},
        {{"http://a.example:PORT_B/", {"200 one", "200 two"}},
         {"http://a.example:PORT_B/docs/", {"200 Index of /docs", "200 Index of /docs"}},
         {"http://a.example:PORT_B/docs/page.html", {"200 page of one", "200 page of two"}},
         {"http://a.example:PORT_B/pictures/cat.txt", {"200 cat", "200 cat"}}},
    },
    {
        "listing_off_then_on",
        kSites,
        {{R"(<VirtualHost 127.0.0.1:PORT_B>
	<Directory FOLDER/www/one/docs>
{% if $listing == on %}
		Options Indexes
{% endif %}
	</Directory>
</VirtualHost>)",
          {{"listing", "on", "off"}}},
         {R"(<VirtualHost 127.0.0.1:PORT_B>
	<Directory FOLDER/www/one/docs>
		Options {% $options %}
	</Directory>
</VirtualHost>)",
          {{"options", "FollowSymLinks", "FollowSymLinks Indexes"}}}},
        {{"http://a.example:PORT_B/docs/", {"200 Index of /docs", "403", "200 Index of /docs"}},
         {"http://a.example:PORT_B/docs/page.html",
          {"200 page of one", "200 page of one", "200 page of one"}}},
    },
    {
        // The directive Listen and the virtual host, as two blocks of one template.
        "address_changed",
        kSites,
        {{R"(<IfModule alias_module>
	Listen {% $address %}
</IfModule>
<VirtualHost {% $address %}>
	ServerName a.example
</VirtualHost>)",
          {{"address", "127.0.0.1:PORT_B", "127.0.0.1:PORT_C"}}}},
        {{"http://a.example:PORT_B/", {"200 one", "refused"}},
         {"http://a.example:PORT_C/", {"refused", "200 one"}},
         {"http://www.a.example:PORT_C/", {"refused", "200 one"}},
         {"http://a.example:PORT_C/docs/page.html", {"refused", "200 page of one"}},
         {"http://unknown.example:PORT_C/", {"refused", "200 default site"}}},
    },
    {
        "IPv6_address_added",
        kSites,
        {{R"(<IfModule alias_module>
	Listen {% $address6 %}
</IfModule>
<VirtualHost {% $addresses %}>
	ServerName a.example
</VirtualHost>)",
          {{"address6", tov_template::NullValue(), "[::1]:PORT_6"},
           {"addresses", "127.0.0.1:PORT_B", "127.0.0.1:PORT_B [::1]:PORT_6"}}}},
        {{"http://a.example:PORT_6/", {"refused", "200 one"}},
         {"http://a.example:PORT_B/", {"200 one", "200 one"}}},
    },
    {
        "TLS_on_then_a_new_certificate_then_off",
        str::Replace(kSites, "PORT_B", "PORT_TLS"),
        {{R"(<VirtualHost 127.0.0.1:PORT_TLS>
{% if $tls == on %}
	SSLEngine on
	SSLProtocol {% $protocols %}
	SSLCertificateFile [% $certificate %]
	SSLCertificateKeyFile [% $key %]
{% endif %}
</VirtualHost>)",
          {{"tls", "off", "on"},
           {"certificate", tov_template::NullValue(), "FOLDER/certs/old.pem"},
           {"key", tov_template::NullValue(), "FOLDER/certs/old.key"},
           {"protocols", tov_template::NullValue(), "all -SSLv3 -TLSv1 -TLSv1.1"}}},
         {R"(<VirtualHost 127.0.0.1:PORT_TLS>
	SSLCertificateFile {% $certificate %}
	SSLCertificateKeyFile {% $key %}
</VirtualHost>)",
          {{"certificate", "FOLDER/certs/old.pem", "FOLDER/certs/new.pem"},
           {"key", "FOLDER/certs/old.key", "FOLDER/certs/new.key"}}},
         {R"(<VirtualHost 127.0.0.1:PORT_TLS>
{% if $tls == on %}
	SSLEngine on
	SSLProtocol {% $protocols %}
	SSLCertificateFile {% $certificate %}
	SSLCertificateKeyFile {% $key %}
{% endif %}
</VirtualHost>)",
          {{"tls", "on", "off"},
           {"certificate", "FOLDER/certs/new.pem", "FOLDER/certs/new.pem"},
           {"key", "FOLDER/certs/new.key", "FOLDER/certs/new.key"},
           {"protocols", "all -SSLv3 -TLSv1 -TLSv1.1", "all -SSLv3 -TLSv1 -TLSv1.1"}}}},
        {{"https://a.example:PORT_TLS/",
          {"no TLS", "200 one", "untrusted", "no TLS"},
          "certs/old.pem"},
         {"https://a.example:PORT_TLS/",
          {"no TLS", "untrusted", "200 one", "no TLS"},
          "certs/new.pem"},
         {"http://a.example:PORT_TLS/", {"200 one", "400", "400", "200 one"}}},
    },
    {
        "site_added_edited_and_removed",
        kSites,
        {{R"(<IfModule alias_module>
	Listen {% $address %}
</IfModule>
<VirtualHost {% $address %}>
	ServerName {% $name %}
	ServerAlias www.{% $name %}
	DocumentRoot [% $root %]
	DirectoryIndex index.html
</VirtualHost>)",
          {{"address", tov_template::NullValue(), "127.0.0.1:PORT_C"},
           {"name", tov_template::NullValue(), "b.example"},
           {"root", tov_template::NullValue(), "FOLDER/www/two"}}},
         {R"(<VirtualHost 127.0.0.1:PORT_C>
	ServerName {% $name %}
	ServerAlias www.{% $name %}
	DocumentRoot [% $root %]
</VirtualHost>)",
          {{"name", "b.example", "c.example"}, {"root", "FOLDER/www/two", "FOLDER/www/one"}}},
         {R"({% if $site %}
<VirtualHost 127.0.0.1:PORT_C>
	ServerName c.example
</VirtualHost>
{% endif %})",
          {}}},
        {{"http://b.example:PORT_C/",
          {"refused", "200 two", "200 default site", "200 default site"}},
         {"http://www.b.example:PORT_C/",
          {"refused", "200 two", "200 default site", "200 default site"}},
         {"http://www.c.example:PORT_C/",
          {"refused", "200 default site", "200 one", "200 default site"}},
         {"http://a.example:PORT_B/", {"200 one", "200 one", "200 one", "200 one"}}},
    },
    {
        "site_removed",
        kSites,
        {{R"({% if $site %}
<VirtualHost 127.0.0.1:PORT_B>
	ServerName a.example
</VirtualHost>
{% endif %})",
          {}}},
        {{"http://a.example:PORT_B/", {"200 one", "200 default site"}},
         {"http://a.example:PORT_B/music/song.txt", {"200 song", "404"}},
         {"http://www.a.example:PORT_B/", {"200 one", "200 default site"}}},
    },
};

class ApacheLive : public testing::TestWithParam<Story> {};

TEST_P(ApacheLive, Serves) {
  if (NeedsIpv6(GetParam()) && !FreePort::HasIpv6()) GTEST_SKIP() << "no IPv6 on this machine";
  Tell(kApache, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Edit, ApacheLive, testing::ValuesIn(kStories), StoryName);

TEST(ApacheLiveServer, SaysWhatIsWrongAndServesAsBefore) {
  LiveServer server(kApache);
  EXPECT_NE(server.Serve("NoSuchDirective on"), "");
  EXPECT_EQ(server.Get("http://a.example:PORT_A/").Summary(), "refused");
  ASSERT_EQ(server.Serve(server.Filled(kSites)), "");
  EXPECT_NE(server.Serve("<VirtualHost 127.0.0.1:PORT_A>"), "");
  EXPECT_EQ(server.Get("http://a.example:PORT_B/").Summary(), "200 one");
}

}  // namespace
