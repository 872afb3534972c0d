// SPDX-License-Identifier: Apache-2.0

// Asks a running nginx whether edits of its configuration take.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>

#include "server/live_story.h"

namespace {

const ServerKind kNginx = {
    "Nginx",
    R"(pid nginx.pid;
error_log logs/error.log;
worker_processes 1;
events {
}
http {
	access_log off;
	client_body_temp_path temp-body;
	proxy_temp_path temp-proxy;
	fastcgi_temp_path temp-fastcgi;
	uwsgi_temp_path temp-uwsgi;
	scgi_temp_path temp-scgi;
	server {
		listen 127.0.0.1:PORT_A default_server;
		root FOLDER/www/default;
	}
	include site.conf;
}
)",
    "user root;\n",
    "nginx -t -p FOLDER -e logs/error.log -c server.conf",
    "nginx -p FOLDER -e logs/error.log -c server.conf -g 'daemon off;'",
    SIGHUP,
};

// Two sites of one customer, and one of another.
const std::string kSites = R"(# Sites of two customers.
server {
	listen 127.0.0.1:PORT_A;
	server_name a.example www.a.example;
	root FOLDER/www/one;
	# the customer's own
	location = /old {
		return 301 http://a.example:PORT_A/docs/;
	}
	location /pictures/ {
		root FOLDER/www;
		autoindex on;
		expires 1h;
	}
	location /music/ {
		alias FOLDER/www/music/;
	}
}
server {
	listen 127.0.0.1:PORT_A;
	server_name neighbour.example;
	root FOLDER/www/neighbour;
}
server {
	listen 127.0.0.1:PORT_B;
	server_name shop.example;
	root FOLDER/www/two;
})";

const NamedValue kNameIsA = {"name", "a.example", "a.example"};

const Story kStories[] = {
    {
        "site_renamed",
        kSites,
        {{R"(server {
	server_name {% $name %} www.{% $name %};
})",
          {{"name", "a.example", "b.example"}}}},
        {{"http://a.example:PORT_A/", {"200 one", "200 default site"}},
         {"http://www.a.example:PORT_A/", {"200 one", "200 default site"}},
         {"http://b.example:PORT_A/", {"200 default site", "200 one"}},
         {"http://www.b.example:PORT_A/", {"200 default site", "200 one"}},
         {"http://b.example:PORT_A/pictures/cat.txt", {"404", "200 cat"}}},
    },
    {
        "other_names_changed",
        kSites,
        {{R"(server {
	server_name {% $name %} {% $others %};
})",
          {kNameIsA, {"others", "www.a.example", "m.a.example *.shop.a.example"}}}},
        {{"http://a.example:PORT_A/", {"200 one", "200 one"}},
         {"http://www.a.example:PORT_A/", {"200 one", "200 default site"}},
         {"http://m.a.example:PORT_A/", {"200 default site", "200 one"}},
         {"http://new.shop.a.example:PORT_A/", {"200 default site", "200 one"}}},
    },
    {
        "location_removed",
        kSites,
        {{R"(server {
	server_name {% $name %} www.{% $name %};
{% if $pictures %}
	location /pictures/ {
		expires [% $pictures %];
	}
{% endif %}
})",
          {kNameIsA}}},
        {{"http://a.example:PORT_A/pictures/cat.txt", {"200 cat", "404"}},
         {"http://a.example:PORT_A/music/song.txt", {"200 song", "200 song"}},
         {"http://a.example:PORT_A/old",
          {"301 http://a.example:PORT_A/docs/", "301 http://a.example:PORT_A/docs/"}},
         {"http://a.example:PORT_A/", {"200 one", "200 one"}}},
    },
    {
        "location_added",
        kSites,
        {{R"(server {
	server_name {% $name %} www.{% $name %};
	location {% $path %} {
		alias [% $folder %];
	}
})",
          {kNameIsA,
           {"path", tov_template::NullValue(), "/photos/"},
           {"folder", tov_template::NullValue(), "FOLDER/www/pictures/"}}}},
        {{"http://a.example:PORT_A/photos/cat.txt", {"404", "200 cat"}},
         {"http://a.example:PORT_A/pictures/cat.txt", {"200 cat", "200 cat"}},
         {"http://a.example:PORT_A/", {"200 one", "200 one"}}},
    },
    {
        // A block in a block is found and changed without indentation in the template.
        "alias_moved_and_changed",
        kSites,
        {{R"(server {
	server_name {% $name %} www.{% $name %};
location {% $path %} {
	alias [% $folder %];
}
})",
          {kNameIsA,
           {"path", "/music/", "/photos/"},
           {"folder", "FOLDER/www/music/", "FOLDER/www/pictures/"}}}},
        {{"http://a.example:PORT_A/music/song.txt", {"200 song", "404"}},
         {"http://a.example:PORT_A/photos/cat.txt", {"404", "200 cat"}},
         {"http://a.example:PORT_A/pictures/cat.txt", {"200 cat", "200 cat"}}},
    },
    {
        "redirect_changed",
        kSites,
        {{R"(server {
	server_name {% $name %} www.{% $name %};
	location = /old {
		return {% $code %} {% $target %};
	}
})",
          {kNameIsA,
           {"code", "301", "302"},
           {"target", "http://a.example:PORT_A/docs/", "http://new.example/"}}}},
        {{"http://a.example:PORT_A/old",
          {"301 http://a.example:PORT_A/docs/", "302 http://new.example/"}},
         {"http://a.example:PORT_A/docs/page.html", {"200 page of one", "200 page of one"}}},
    },
    {
        "root_changed",
        kSites,
        {{R"(server {
	server_name {% $name %} www.{% $name %};
	root [% $root %];
})",
          {kNameIsA, {"root", "FOLDER/www/one", "FOLDER/www/two"}}}},
        {{"http://a.example:PORT_A/", {"200 one", "200 two"}},
         {"http://a.example:PORT_A/docs/page.html", {"200 page of one", "200 page of two"}},
         {"http://a.example:PORT_A/pictures/cat.txt", {"200 cat", "200 cat"}}},
    },
    {
        "index_added_then_removed",
        kSites,
        {{R"(server {
	server_name {% $name %} www.{% $name %};
	index [% $index %];
})",
          {kNameIsA, {"index", tov_template::NullValue(), "start.html"}}},
         {R"(server {
	server_name {% $name %} www.{% $name %};
{% if $own_index %}
	index [% $index %];
{% endif %}
})",
          {kNameIsA, {"index", "start.html", "start.html"}}}},
        {{"http://a.example:PORT_A/", {"200 one", "200 start of one", "200 one"}}},
    },
    {
        "address_changed",
        kSites,
        {{R"(server {
	listen {% $address %};
	server_name shop.example;
})",
          {{"address", "127.0.0.1:PORT_B", "127.0.0.1:PORT_C"}}}},
        {{"http://shop.example:PORT_B/", {"200 two", "refused"}},
         {"http://shop.example:PORT_C/", {"refused", "200 two"}},
         {"http://a.example:PORT_A/", {"200 one", "200 one"}}},
    },
    {
        "addresses_added_and_removed",
        kSites,
        {{R"(server {
	listen 127.0.0.1:PORT_B;
{% if $second %}
	listen 127.0.0.1:PORT_C;
{% endif %}
	server_name shop.example;
})",
          {{"second", tov_template::NullValue(), "on"}}},
         {R"(server {
{% if $first %}
	listen 127.0.0.1:PORT_B;
{% endif %}
	listen 127.0.0.1:PORT_C;
	server_name shop.example;
})",
          {}}},
        {{"http://shop.example:PORT_B/", {"200 two", "200 two", "refused"}},
         {"http://shop.example:PORT_C/", {"refused", "200 two", "200 two"}}},
    },
    {
        "IPv6_address_added",
        kSites,
        {{R"(server {
	listen {% $address6 %};
	server_name shop.example;
})",
          {{"address6", tov_template::NullValue(), "[::1]:PORT_6"}}}},
        {{"http://shop.example:PORT_6/", {"refused", "200 two"}},
         {"http://shop.example:PORT_B/", {"200 two", "200 two"}}},
    },
    {
        "TLS_on_then_a_new_certificate_then_off",
        kSites,
        {{R"(server {
	server_name {% $name %} www.{% $name %};
{% if $tls == on %}
	listen 127.0.0.1:PORT_TLS ssl;
	ssl_certificate [% $certificate %];
	ssl_certificate_key [% $key %];
	ssl_protocols {% $protocols %};
{% endif %}
})",
          {kNameIsA,
           {"tls", "off", "on"},
           {"certificate", tov_template::NullValue(), "FOLDER/certs/old.pem"},
           {"key", tov_template::NullValue(), "FOLDER/certs/old.key"},
           {"protocols", tov_template::NullValue(), "TLSv1.2 TLSv1.3"}}},
         {R"(server {
	server_name {% $name %} www.{% $name %};
	ssl_certificate {% $certificate %};
	ssl_certificate_key {% $key %};
})",
          {kNameIsA,
           {"certificate", "FOLDER/certs/old.pem", "FOLDER/certs/new.pem"},
           {"key", "FOLDER/certs/old.key", "FOLDER/certs/new.key"}}},
         {R"(server {
	server_name {% $name %} www.{% $name %};
{% if $tls == on %}
	listen 127.0.0.1:PORT_TLS ssl;
	ssl_certificate {% $certificate %};
	ssl_certificate_key {% $key %};
	ssl_protocols {% $protocols %};
{% endif %}
})",
          {kNameIsA,
           {"tls", "on", "off"},
           {"certificate", "FOLDER/certs/new.pem", "FOLDER/certs/new.pem"},
           {"key", "FOLDER/certs/new.key", "FOLDER/certs/new.key"},
           {"protocols", "TLSv1.2 TLSv1.3", "TLSv1.2 TLSv1.3"}}}},
        {{"https://a.example:PORT_TLS/",
          {"refused", "200 one", "untrusted", "refused"},
          "certs/old.pem"},
         {"https://a.example:PORT_TLS/",
          {"refused", "untrusted", "200 one", "refused"},
          "certs/new.pem"},
         {"http://a.example:PORT_A/", {"200 one", "200 one", "200 one", "200 one"}}},
    },
    {
        "site_added_edited_and_removed",
        kSites,
        {{R"(server {
	listen [% $address %];
	server_name {% $name %};
	root [% $root %];
})",
          {{"address", tov_template::NullValue(), "127.0.0.1:PORT_A"},
           {"name", tov_template::NullValue(), "b.example"},
           {"root", tov_template::NullValue(), "FOLDER/www/two"}}},
         {R"(server {
	server_name {% $name %};
	root [% $root %];
})",
          {{"name", "b.example", "c.example"}, {"root", "FOLDER/www/two", "FOLDER/www/pictures"}}},
         {R"({% if $site %}
server {
	server_name c.example;
}
{% endif %})",
          {}}},
        {{"http://b.example:PORT_A/",
          {"200 default site", "200 two", "200 default site", "200 default site"}},
         {"http://c.example:PORT_A/cat.txt", {"404", "404", "200 cat", "404"}},
         {"http://a.example:PORT_A/", {"200 one", "200 one", "200 one", "200 one"}}},
    },
    {
        "site_removed",
        kSites,
        {{R"({% if $site %}
server {
	server_name a.example;
}
{% endif %})",
          {}}},
        {{"http://a.example:PORT_A/", {"200 one", "200 default site"}},
         {"http://www.a.example:PORT_A/music/song.txt", {"200 song", "404"}},
         {"http://shop.example:PORT_B/", {"200 two", "200 two"}}},
    },
};

class NginxLive : public testing::TestWithParam<Story> {};

TEST_P(NginxLive, Serves) {
  if (NeedsIpv6(GetParam()) && !FreePort::HasIpv6()) GTEST_SKIP() << "no IPv6 on this machine";
  Tell(kNginx, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Edit, NginxLive, testing::ValuesIn(kStories), StoryName);

TEST(NginxLiveServer, SaysWhatIsWrongAndServesAsBefore) {
  LiveServer server(kNginx);
  EXPECT_NE(server.Serve("no_such_directive on;"), "");
  EXPECT_EQ(server.Get("http://a.example:PORT_A/").Summary(), "refused");
  ASSERT_EQ(server.Serve(server.Filled(kSites)), "");
  EXPECT_NE(server.Serve("server {"), "");
  EXPECT_EQ(server.Get("http://a.example:PORT_A/").Summary(), "200 one");
}

}  // namespace
