// SPDX-License-Identifier: Apache-2.0

// Ordinary edits of files as administrators and hosting-control programs keep them: several sites
// in one file, laid out by several hands. Each case says which lines of the file change, and into
// what; all others stay.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "edit/case_writer.h"
#include "edit/edit.h"

namespace {

using tov_edit::Dialect;

// A shop behind PHP with a redirect of its name, a customer's site that a program has written, and
// a blog with a site that only redirects to it.
constexpr char kSites[] = R"(# sites of this machine

upstream workers {
    server unix:/run/php/php8.1-fpm.sock;
    server 127.0.0.1:9000 backup;
}

map $arg_v $lifetime {
    ""      "";
    default "immutable";
}

server { listen 80 default_server; listen [::]:80 default_server; server_name _; return 444; }

server {
    listen 80;
    listen [::]:80;
    server_name shop.example www.shop.example;

    # everybody has to come with TLS
    location / {
        return 301 https://shop.example$request_uri;
    }
}

server {
    listen 443      ssl http2;
    listen [::]:443 ssl http2;
    server_name shop.example;

    root /srv/shop;
    index index.php;
    ssl_certificate     /etc/ssl/shop/chain.pem;
    ssl_certificate_key /etc/ssl/shop/key.pem;
    client_max_body_size 64m;   # the catalogue is large
    gzip on;
    gzip_types text/css text/plain
               application/json
               image/svg+xml;

    add_header X-Frame-Options "SAMEORIGIN" always;
    add_header X-Content-Type-Options "nosniff" always;
    error_page 403 /forbidden.html;
    error_page 404 /missing.html;

    location = /robots.txt { allow all; log_not_found off; access_log off; }

    location ^~ /.well-known {
        location = /.well-known/carddav { return 301 /dav/; }
        return 301 /index.php$request_uri;
    }

    location ~ \.php(?:$|/) {
        include fastcgi_params;
        fastcgi_param SCRIPT_FILENAME $document_root$fastcgi_script_name;
        fastcgi_param HTTPS on;
        fastcgi_pass workers;
    }

    location ~* \.(?:css|js|png)$ {
        expires 7d;
        location ~ \.js$ {
            default_type text/javascript;
        }
    }
}

server
{
	listen 203.0.113.10:80;
	listen 203.0.113.10:443 ssl;
	listen [2001:db8::10]:80;
	server_name one.example www.one.example *.one.example;
	root   /var/www/client1/web/;
	if ($scheme != "https") {
		rewrite ^ https://$host$request_uri? permanent;
	}
	ssl_certificate /var/www/client1/ssl/one.crt;
	ssl_certificate_key /var/www/client1/ssl/one.key;
	location @php {
		try_files $uri =404;
		fastcgi_pass unix:/run/php7.4/client1.sock;
	}
	location /stats/ {
		auth_basic "Members";
		auth_basic_user_file /var/www/client1/stats.users;
	}
}
server
{
	listen 203.0.113.10:80;
	server_name two.example www.two.example;
	root   /var/www/client2/web/;
	location @php {
		try_files $uri =404;
		fastcgi_pass unix:/run/php7.4/client2.sock;
	}
}

server {
	listen 443 ssl;
	server_name www.blog.example;
	ssl_certificate /etc/ssl/blog.pem;	# of both names
	ssl_certificate_key /etc/ssl/blog.key;
	return 301 https://blog.example$request_uri;
}
server {
	listen 443 ssl; listen [::]:443 ssl;
	server_name blog.example
	            b.example   # short links
	            m.blog.example;
	ssl_certificate /etc/ssl/blog.pem; ssl_certificate_key /etc/ssl/blog.key;
	root "/srv/my blog";
	set $cached 1;
	rewrite ^/feed$ /rss last;
	rewrite "^/([0-9]{4})/(.*)$" /archive/$1/$2 last;
	location = /login {
		allow 198.51.100.7;
		allow 198.51.100.8;  # office
		deny all;
	}
	location / { try_files $uri $uri/ /index.php?$args; }
	#location /old {
	#	return 410;
	#}
}
)";

// The file of a whole nginx, with balancing and forwarding.
constexpr char kMain[] = R"(user  www-data;
worker_processes  auto;

events {
    worker_connections  1024;
}

http {
    include       mime.types;
    log_format  main  '$remote_addr - $remote_user "$request" '
                      '$status $body_bytes_sent';
    log_format  short '$remote_addr "$request"';
    sendfile        on;
    #gzip  on;

    upstream app {
        server 10.0.0.1:8080 weight=3;
        server 10.0.0.2:8080;
        keepalive 16;
    }

    server {
        listen 80;
        server_name app.example api.app.example;
        location / {
            proxy_pass http://app;
            proxy_set_header Host              $host;
            proxy_set_header X-Forwarded-Proto $scheme;
        }
        location /ws/ {
            proxy_pass http://app/ws/;
            proxy_set_header Upgrade $http_upgrade;
        }
    }

    server {
        listen 127.0.0.1:8081;
        location /status {
            allow 127.0.0.1;
            deny all;
        }
    }
    include conf.d/*.conf;
}

stream {
    upstream dns {
        server 192.0.2.53:53;
    }
    server {
        listen 53 udp;
        proxy_pass dns;
    }
    server {
        listen 3306;
        proxy_pass 10.0.0.9:3306;
    }
}
)";

// Two sites by name, one with TLS in a condition, and one on addresses of its own.
constexpr char kHosts[] = R"(# the hosts of this machine
<VirtualHost *:80>
    ServerName shop.example
    ServerAlias www.shop.example old.shop.example
    ServerAdmin webmaster@shop.example
    DocumentRoot /srv/shop
RewriteEngine on
RewriteCond %{SERVER_NAME} =www.shop.example [OR]
RewriteCond %{SERVER_NAME} =shop.example
RewriteRule ^ https://%{SERVER_NAME}%{REQUEST_URI} [END,NE,R=permanent]
</VirtualHost>

<VirtualHost *:80>
    ServerName blog.example
    ServerAlias www.blog.example \
                m.blog.example \
                b.example
    DocumentRoot "/srv/blog"
    <Directory "/srv/blog">
        Options Indexes FollowSymLinks
        AllowOverride All
        Require all granted
    </Directory>
    <Location /staff>
        AuthType Basic
        AuthName "Restricted Area"
        AuthUserFile /etc/apache2/staff
        Require valid-user
    </Location>
    <FilesMatch "\.php$">
        SetHandler "proxy:unix:/run/php/php7.4-fpm.sock|fcgi://localhost/"
    </FilesMatch>
    Header always set X-Frame-Options "SAMEORIGIN"
    Header set Cache-Control "max-age=600, public"
    SetEnv APP_ENV production
    SetEnv DB_HOST localhost
    ErrorDocument 404 /404.html
    ErrorDocument 500 "Sorry, try again"
    Alias /static/ /srv/blog/static/
    Alias /media/ /srv/blog/media/
</VirtualHost>

<IfModule mod_ssl.c>
<VirtualHost *:443>
    ServerName shop.example
    ServerAlias www.shop.example old.shop.example
    DocumentRoot /srv/shop
    ErrorLog ${APACHE_LOG_DIR}/shop-error.log
    <Directory /srv/shop/>
        Options -Indexes +FollowSymLinks
        <IfVersion >= 2.4>
            Require all granted
        </IfVersion>
        <IfVersion < 2.4>
            Order allow,deny
            Allow from all
        </IfVersion>
    </Directory>
    ProxyPass /api/ http://127.0.0.1:8080/
    ProxyPassReverse /api/ http://127.0.0.1:8080/
    ProxyPass /ws/ ws://127.0.0.1:8081/
    LogFormat "%h %t \"%r\" \
%>s %b" shoplog
    SSLEngine on
    SSLCertificateFile /etc/ssl/shop/chain.pem
    SSLCertificateKeyFile /etc/ssl/shop/key.pem
</VirtualHost>
</IfModule>

<VirtualHost 203.0.113.10:80 [2001:db8::10]:80>
		DocumentRoot /var/www/one.example/web

		ServerName one.example
		ServerAlias www.one.example
		ServerAlias *.one.example
		ErrorDocument 403 /error/403.html
		ErrorDocument 404 /error/404.html
		<IfModule mod_proxy_fcgi.c>
			<Directory /var/www/one.example/web>
				<FilesMatch "\.php[345]?$">
					SetHandler "proxy:unix:/run/php7.4/one.sock|fcgi://localhost"
				</FilesMatch>
			</Directory>
		</IfModule>
</VirtualHost>
)";

// What an application keeps in its directory.
constexpr char kHtaccess[] = R"(# made by the installation
<IfModule mod_rewrite.c>
RewriteEngine On
RewriteBase /
RewriteRule ^index\.php$ - [L]
RewriteCond %{REQUEST_FILENAME} !-f
RewriteCond %{REQUEST_FILENAME} !-d
RewriteRule . /index.php [L]
</IfModule>

Options -Indexes
DirectoryIndex index.php index.html
<Files "setup.php">
	Require all denied
</Files>
ExpiresByType image/png "access plus 1 month"
ExpiresByType text/css "access plus 1 week"
php_value upload_max_filesize 64M
php_value post_max_size 64M
)";

constexpr char kPorts[] = R"(# the ports of all hosts
Listen 80

<IfModule ssl_module>
	Listen 443
</IfModule>
)";

// Lines of a file, and what becomes of them. They stand in the file once.
struct Change {
  const char* was;
  const char* is;
};

struct Case {
  const char* name;
  const char* template_text;
  tov_edit::Values values;
  std::vector<Change> changes;  // none: the file is as the template wants it
};

// Values with an old text and with a new one only.
tov_edit::OldAndNew From(const char* old_value, const char* new_value) {
  return {old_value, new_value};
}
tov_edit::OldAndNew To(const char* new_value) {
  return {std::nullopt, new_value};
}

std::size_t Count(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos;
       at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

std::string Changed(std::string text, const std::vector<Change>& changes) {
  for (const Change& change : changes) {
    EXPECT_EQ(Count(text, change.was), 1U) << change.was;
    const std::size_t at = text.find(change.was);
    if (at == std::string::npos) continue;
    text.replace(at, std::string_view(change.was).size(), change.is);
  }
  return text;
}

std::string WithCarriageReturns(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\n') result += '\r';
    result += c;
  }
  return result;
}

// The text that the edit gives, or its refusals.
std::string Edited(const tov_edit::Request& request, const std::string& text) {
  const tov_edit::Result result = tov_edit::RecordedEdit(request, text, "file.conf");
  if (result.refusals.empty()) return result.text;
  std::string refusals = "refused";
  for (const tov_edit::Finding& refusal : result.refusals) refusals += "\n" + Shown(refusal);
  return refusals;
}

// Each case: what the edit makes of the file, that the same edit then changes nothing, and both
// with the line ends of another system.
void TryAll(Dialect dialect, const std::string& file, const std::vector<Case>& cases,
            bool all = false) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    tov_edit::Request request;
    request.dialect = dialect;
    request.template_name = "site.template";
    request.template_text = c.template_text;
    request.values = c.values;
    request.all = all;
    const std::string expected = Changed(file, c.changes);
    EXPECT_EQ(Edited(request, file), expected);
    EXPECT_EQ(Edited(request, expected), expected) << "the second time";
    EXPECT_EQ(Edited(request, WithCarriageReturns(file)), WithCarriageReturns(expected));
  }
}

// The same, and that new and old exchanged give the file back.
void TryThereAndBack(Dialect dialect, const std::string& file, const std::vector<Case>& cases,
                     bool all = false) {
  TryAll(dialect, file, cases, all);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    tov_edit::Request request;
    request.dialect = dialect;
    request.template_text = c.template_text;
    for (const auto& [name, value] : c.values) {
      request.values[name] = {value.new_value, value.old_value};
    }
    request.all = all;
    EXPECT_EQ(Edited(request, Changed(file, c.changes)), file) << "back";
  }
}

TEST(EverydayEdit, ChangesValuesOfAnNginxSite) {
  TryThereAndBack(
      Dialect::kNginx, kSites,
      {
          {"document root, of the site and not of the redirect",
           R"(server {
  server_name shop.example;
  root {% $root %};
}
)",
           {{"root", From("/srv/shop", "/data/shop")}},
           {{"    root /srv/shop;\n", "    root /data/shop;\n"}}},
          {"one of several headers, with the columns and quotes of the file",
           R"(server {
  listen 443;
  server_name shop.example;
  add_header X-Frame-Options {% $x %} always;
}
)",
           {{"x", From("SAMEORIGIN", "DENY")}},
           {{"X-Frame-Options \"SAMEORIGIN\" always", "X-Frame-Options \"DENY\" always"}}},
          {"port of both listens, with their options",
           R"(server {
  listen {% $port %};
  listen [::]:{% $port %};
  server_name shop.example;
}
)",
           {{"port", From("443", "8443")}},
           {{"    listen 443      ssl http2;\n"
             "    listen [::]:443 ssl http2;\n",
             "    listen 8443      ssl http2;\n"
             "    listen [::]:8443 ssl http2;\n"}}},
          {"certificates",
           R"(server {
  listen 443;
  server_name shop.example;
  ssl_certificate {% $dir %}/chain.pem;
  ssl_certificate_key {% $dir %}/key.pem;
}
)",
           {{"dir", From("/etc/ssl/shop", "/etc/ssl/wild")}},
           {{"    ssl_certificate     /etc/ssl/shop/chain.pem;\n"
             "    ssl_certificate_key /etc/ssl/shop/key.pem;\n",
             "    ssl_certificate     /etc/ssl/wild/chain.pem;\n"
             "    ssl_certificate_key /etc/ssl/wild/key.pem;\n"}}},
          {"name of the redirect and of the site",
           R"(server {
  listen 80;
  server_name {% $name %} www.{% $name %};
  location / {
    return 301 https://{% $name %}$request_uri;
  }
}
server {
  listen 443;
  server_name {% $name %};
}
)",
           {{"name", From("shop.example", "store.example")}},
           {{"    server_name shop.example www.shop.example;\n",
             "    server_name store.example www.store.example;\n"},
            {"return 301 https://shop.example$request_uri;",
             "return 301 https://store.example$request_uri;"},
            {"    server_name shop.example;\n", "    server_name store.example;\n"}}},
          {"the socket of an upstream",
           R"(upstream workers {
  server unix:/run/php/php{% $version %}-fpm.sock;
}
)",
           {{"version", From("8.1", "8.3")}},
           {{"php8.1-fpm", "php8.3-fpm"}}},
          {"a directive in a location",
           R"(server {
  listen 443;
  server_name shop.example;
  location ~ \.php(?:$|/) {
    fastcgi_pass {% $to %};
  }
}
)",
           {{"to", From("workers", "unix:/run/php.sock")}},
           {{"fastcgi_pass workers;", "fastcgi_pass unix:/run/php.sock;"}}},
          {"a value of a map, which is quoted",
           R"(map $arg_v $lifetime {
  default {% $value %};
}
)",
           {{"value", From("immutable", "stale")}},
           {{"default \"immutable\";", "default \"stale\";"}}},
          {"address of a site with its brace on the next line",
           R"(server {
  server_name one.example;
  listen {% $ip %}:80;
  listen {% $ip %}:443;
}
)",
           {{"ip", From("203.0.113.10", "203.0.113.20")}},
           {{"\tlisten 203.0.113.10:80;\n"
             "\tlisten 203.0.113.10:443 ssl;\n",
             "\tlisten 203.0.113.20:80;\n"
             "\tlisten 203.0.113.20:443 ssl;\n"}}},
          {"names with a wildcard",
           R"(server {
  server_name {% $name %} www.{% $name %} *.{% $name %};
}
)",
           {{"name", From("one.example", "three.example")}},
           {{"\tserver_name one.example www.one.example *.one.example;\n",
             "\tserver_name three.example www.three.example *.three.example;\n"}}},
          {"version in the path of one site's socket",
           R"(server {
  server_name www.two.example;
  location @php {
    fastcgi_pass unix:/run/php{% $version %}/client2.sock;
  }
}
)",
           {{"version", From("7.4", "8.2")}},
           {{"/run/php7.4/client2.sock", "/run/php8.2/client2.sock"}}},
          {"an alias over several lines, with a comment behind",
           R"(server {
  server_name blog.example;
  server_name {% $alias %};
}
)",
           {{"alias", From("b.example", "s.example")}},
           {{"\t            b.example   # short links\n",
             "\t            s.example   # short links\n"}}},
          {"two listens on one line",
           R"(server {
  listen {% $port %};
  listen [::]:{% $port %};
  server_name m.blog.example;
}
)",
           {{"port", From("443", "8443")}},
           {{"\tlisten 443 ssl; listen [::]:443 ssl;\n",
             "\tlisten 8443 ssl; listen [::]:8443 ssl;\n"}}},
          {"a root with a blank",
           R"(server {
  server_name blog.example;
  listen 443;
  root "{% $root %}";
}
)",
           {{"root", From("/srv/my blog", "/srv/our blog")}},
           {{"root \"/srv/my blog\";", "root \"/srv/our blog\";"}}},
          {"one rewrite of several",
           R"(server {
  server_name m.blog.example;
  rewrite ^/feed$ {% $to %} last;
}
)",
           {{"to", From("/rss", "/atom")}},
           {{"rewrite ^/feed$ /rss last;", "rewrite ^/feed$ /atom last;"}}},
          {"an address with a comment behind",
           R"(server {
  server_name m.blog.example;
  location = /login {
    allow {% $ip %};
  }
}
)",
           {{"ip", From("198.51.100.8", "198.51.100.9")}},
           {{"allow 198.51.100.8;  # office", "allow 198.51.100.9;  # office"}}},
          {"the answer of a server on one line",
           R"(server {
  server_name _;
  return {% $code %};
}
)",
           {{"code", From("444", "404")}},
           {{"return 444; }", "return 404; }"}}},
          {"the target of a redirect by name",
           R"(server {
  server_name www.blog.example;
  return 301 https://{% $to %}$request_uri;
}
)",
           {{"to", From("blog.example", "news.example")}},
           {{"return 301 https://blog.example$request_uri;",
             "return 301 https://news.example$request_uri;"}}},
          {"the path of a location",
           R"(server {
  server_name one.example;
  location {% $path %} {
  }
}
)",
           {{"path", From("/stats/", "/statistics/")}},
           {{"\tlocation /stats/ {\n", "\tlocation /statistics/ {\n"}}},
      });
}

TEST(EverydayEdit, ReplacesWhateverStandsInAnNginxSite) {
  TryAll(Dialect::kNginx, kSites,
         {
             {"a size, with the comment behind",
              R"(server {
  listen 443;
  server_name shop.example;
  client_max_body_size [% $size %];
}
)",
              {{"size", To("1g")}},
              {{"client_max_body_size 64m;   # the catalogue",
                "client_max_body_size 1g;   # the catalogue"}}},
             {"types over several lines",
              R"(server {
  listen 443;
  server_name shop.example;
  gzip_types [% $types %];
}
)",
              {{"types", To("text/css text/xml")}},
              {{"    gzip_types text/css text/plain\n"
                "               application/json\n"
                "               image/svg+xml;\n",
                "    gzip_types text/css text/xml;\n"}}},
             {"a header with a quoted value",
              R"(server {
  listen 443;
  server_name shop.example;
  add_header X-Content-Type-Options [% $x %];
}
)",
              {{"x", To("\"none\"")}},
              {{"X-Content-Type-Options \"nosniff\" always;", "X-Content-Type-Options \"none\";"}}},
             {"the error page of one code",
              R"(server {
  listen 443;
  server_name shop.example;
  error_page 404 [% $page %];
}
)",
              {{"page", To("/gone.html")}},
              {{"error_page 404 /missing.html;", "error_page 404 /gone.html;"}}},
             {"a directive of a location on one line",
              R"(server {
  listen 443;
  server_name shop.example;
  location = /robots.txt {
    access_log [% $log %];
  }
}
)",
              {{"log", To("/var/log/robots.log")}},
              {{"access_log off; }", "access_log /var/log/robots.log; }"}}},
             {"a location inside of a location",
              R"(server {
  listen 443;
  server_name shop.example;
  location ^~ /.well-known {
    location = /.well-known/carddav {
      return 301 [% $to %];
    }
  }
}
)",
              {{"to", To("/cards/")}},
              {{"return 301 /dav/;", "return 301 /cards/;"}}},
             {"options of a listen away",
              R"(server {
  server_name shop.example;
  listen 443 ssl [% $more %];
  listen [::]:443 ssl [% $more %];
}
)",
              {{"more", To("")}},
              {{"    listen 443      ssl http2;\n"
                "    listen [::]:443 ssl http2;\n",
                "    listen 443      ssl;\n"
                "    listen [::]:443 ssl;\n"}}},
             {"all aliases",
              R"(server {
  listen 80;
  server_name shop.example [% $aliases %];
}
)",
              {{"aliases", To("m.shop.example")}},
              {{"shop.example www.shop.example;", "shop.example m.shop.example;"}}},
             {"what a variable is set to",
              R"(server {
  server_name m.blog.example;
  set $cached [% $value %];
}
)",
              {{"value", To("0")}},
              {{"set $cached 1;", "set $cached 0;"}}},
         });
}

TEST(EverydayEdit, AddsToAnNginxSite) {
  TryAll(Dialect::kNginx, kSites,
         {
             {"a header behind the others",
              R"(server {
  listen 443;
  server_name shop.example;
  add_header Referrer-Policy no-referrer;
}
)",
              {},
              {{"    add_header X-Content-Type-Options \"nosniff\" always;\n",
                "    add_header X-Content-Type-Options \"nosniff\" always;\n"
                "    add_header Referrer-Policy no-referrer;\n"}}},
             {"a name that only one of the two lacks",
              R"(server {
  listen 443;
  server_name shop.example www.shop.example;
}
)",
              {},
              {{"    server_name shop.example;\n",
                "    server_name shop.example www.shop.example;\n"}}},
             {"a parameter of PHP beside its like",
              R"(server {
  listen 443;
  server_name shop.example;
  location ~ \.php(?:$|/) {
    fastcgi_param PATH_INFO $fastcgi_path_info;
  }
}
)",
              {},
              {{"        fastcgi_param HTTPS on;\n",
                "        fastcgi_param HTTPS on;\n"
                "        fastcgi_param PATH_INFO $fastcgi_path_info;\n"}}},
             {"a directive to a location on one line",
              R"(server {
  listen 443;
  server_name shop.example;
  location = /robots.txt {
    expires 1d;
  }
}
)",
              {},
              {{"access_log off; }", "access_log off; expires 1d; }"}}},
             {"a location behind the last one",
              R"(server {
  server_name two.example;
  location /intern/ {
    auth_basic "Intern";
    location ~ \.php$ {
      return 404;
    }
  }
}
)",
              {},
              {{"\t\tfastcgi_pass unix:/run/php7.4/client2.sock;\n"
                "\t}\n",
                "\t\tfastcgi_pass unix:/run/php7.4/client2.sock;\n"
                "\t}\n"
                "\tlocation /intern/ {\n"
                "\t\tauth_basic \"Intern\";\n"
                "\t\tlocation ~ \\.php$ {\n"
                "\t\t\treturn 404;\n"
                "\t\t}\n"
                "\t}\n"}}},
             {"an address beside the others",
              R"(server {
  server_name two.example;
  listen [2001:db8::10]:80;
}
)",
              {},
              {{"\tlisten 203.0.113.10:80;\n"
                "\tserver_name two.example www.two.example;\n",
                "\tlisten 203.0.113.10:80;\n"
                "\tlisten [2001:db8::10]:80;\n"
                "\tserver_name two.example www.two.example;\n"}}},
             {"an address before the one for all",
              R"(server {
  server_name m.blog.example;
  location = /login {
    allow 198.51.100.9;
  }
}
)",
              {},
              {{"\t\tallow 198.51.100.8;  # office\n",
                "\t\tallow 198.51.100.8;  # office\n"
                "\t\tallow 198.51.100.9;\n"}}},
             {"a rewrite before the one that is stated behind it",
              R"(server {
  server_name m.blog.example;
  rewrite ^/feed/old$ /rss/old last;
  rewrite ^/feed$ /rss last;
}
)",
              {},
              {{"\trewrite ^/feed$ /rss last;\n",
                "\trewrite ^/feed/old$ /rss/old last;\n"
                "\trewrite ^/feed$ /rss last;\n"}}},
             {"what switches a site off",
              R"(server {
  server_name two.example;
{% if $suspended %}
  return 503;
{% endif %}
}
)",
              {{"suspended", To("yes")}},
              {{"\troot   /var/www/client2/web/;\n",
                "\troot   /var/www/client2/web/;\n"
                "\treturn 503;\n"}}},
             {"TLS",
              R"(server {
  server_name two.example;
  listen 203.0.113.10:443 ssl;
  ssl_certificate [% $certificate %];
  ssl_certificate_key [% $key %];
}
)",
              {{"certificate", To("two.crt")}, {"key", To("two.key")}},
              {{"\tlisten 203.0.113.10:80;\n"
                "\tserver_name two.example www.two.example;\n"
                "\troot   /var/www/client2/web/;\n",
                "\tlisten 203.0.113.10:80;\n"
                "\tlisten 203.0.113.10:443 ssl;\n"
                "\tserver_name two.example www.two.example;\n"
                "\troot   /var/www/client2/web/;\n"
                "\tssl_certificate two.crt;\n"
                "\tssl_certificate_key two.key;\n"}}},
             {"an address to a server on one line",
              R"(server {
  server_name _;
  listen 443 ssl default_server;
  ssl_reject_handshake on;
}
)",
              {},
              {{"listen [::]:80 default_server; server_name _; return 444; }",
                "listen [::]:80 default_server; listen 443 ssl default_server; server_name _; "
                "return 444; ssl_reject_handshake on; }"}}},
             {"a value to a map",
              R"(map $arg_v $lifetime {
  1 no-store;
}
)",
              {},
              {{"    default \"immutable\";\n",
                "    default \"immutable\";\n"
                "    1 no-store;\n"}}},
             {"a location, though a comment has it",
              R"(server {
  server_name m.blog.example;
  location /old {
    return 410;
  }
}
)",
              {},
              {{"\tlocation / { try_files $uri $uri/ /index.php?$args; }\n",
                "\tlocation / { try_files $uri $uri/ /index.php?$args; }\n"
                "\tlocation /old {\n"
                "\t\treturn 410;\n"
                "\t}\n"}}},
         });
}

TEST(EverydayEdit, RemovesFromAnNginxSite) {
  TryAll(Dialect::kNginx, kSites,
         {
             {"a header",
              R"(server {
  listen 443;
  server_name shop.example;
{% if $frames %}
  add_header X-Frame-Options SAMEORIGIN always;
{% endif %}
}
)",
              {},
              {{"    add_header X-Frame-Options \"SAMEORIGIN\" always;\n", ""}}},
             {"a location on one line, with the blank line behind",
              R"(server {
  listen 443;
  server_name shop.example;
{% if $robots %}
  location = /robots.txt {
  }
{% endif %}
}
)",
              {},
              {{"    location = /robots.txt { allow all; log_not_found off; access_log off; }\n"
                "\n",
                ""}}},
             {"TLS, with what redirects to it",
              R"(server {
  server_name one.example;
{% if $tls %}
  listen 203.0.113.10:443 ssl;
  ssl_certificate [% $certificate %];
  ssl_certificate_key [% $key %];
  if ($scheme != "https") {
  }
{% endif %}
}
)",
              {},
              {{"\tlisten 203.0.113.10:443 ssl;\n", ""},
               {"\tif ($scheme != \"https\") {\n"
                "\t\trewrite ^ https://$host$request_uri? permanent;\n"
                "\t}\n"
                "\tssl_certificate /var/www/client1/ssl/one.crt;\n"
                "\tssl_certificate_key /var/www/client1/ssl/one.key;\n",
                ""}}},
             {"the wildcard of the names",
              R"(server {
  server_name one.example;
{% if $all %}
  server_name *.one.example;
{% endif %}
}
)",
              {},
              {{"one.example www.one.example *.one.example;", "one.example www.one.example;"}}},
             {"a password",
              R"(server {
  server_name one.example;
  location /stats/ {
{% if $secret %}
    auth_basic [% $realm %];
    auth_basic_user_file [% $users %];
{% endif %}
  }
}
)",
              {},
              {{"\t\tauth_basic \"Members\";\n"
                "\t\tauth_basic_user_file /var/www/client1/stats.users;\n",
                ""}}},
             {"one of two listens on one line",
              R"(server {
  server_name m.blog.example;
{% if $ipv6 %}
  listen [::]:443 ssl;
{% endif %}
}
)",
              {},
              {{"\tlisten 443 ssl; listen [::]:443 ssl;\n", "\tlisten 443 ssl;\n"}}},
             {"the redirect only",
              R"({% if $http %}
server {
  listen 80;
  server_name shop.example;
}
{% endif %}
)",
              {},
              {{"server {\n"
                "    listen 80;\n"
                "    listen [::]:80;\n"
                "    server_name shop.example www.shop.example;\n"
                "\n"
                "    # everybody has to come with TLS\n"
                "    location / {\n"
                "        return 301 https://shop.example$request_uri;\n"
                "    }\n"
                "}\n"
                "\n",
                ""}}},
             {"a site",
              R"({% if $keep %}
server {
  server_name {% $name %};
}
{% endif %}
)",
              {{"name", To("two.example")}},
              {{"server\n"
                "{\n"
                "\tlisten 203.0.113.10:80;\n"
                "\tserver_name two.example www.two.example;\n"
                "\troot   /var/www/client2/web/;\n"
                "\tlocation @php {\n"
                "\t\ttry_files $uri =404;\n"
                "\t\tfastcgi_pass unix:/run/php7.4/client2.sock;\n"
                "\t}\n"
                "}\n",
                ""}}},
             {"a server of an upstream",
              R"(upstream workers {
{% if $backup %}
  server 127.0.0.1:9000 backup;
{% endif %}
}
)",
              {},
              {{"    server 127.0.0.1:9000 backup;\n", ""}}},
         });
}

TEST(EverydayEdit, EditsAllServersOfAName) {
  TryAll(Dialect::kNginx, kSites,
         {
             {"another name for the redirect and the site",
              R"(server {
  server_name {% $name %};
}
)",
              {{"name", From("shop.example", "store.example")}},
              {{"    server_name shop.example www.shop.example;\n",
                "    server_name store.example www.shop.example;\n"},
               {"    server_name shop.example;\n", "    server_name store.example;\n"}}},
             {"another address for two sites",
              R"(server {
  listen {% $ip %}:80;
}
)",
              {{"ip", From("203.0.113.10", "203.0.113.20")}},
              {{"\tlisten 203.0.113.10:80;\n"
                "\tlisten 203.0.113.10:443 ssl;\n",
                "\tlisten 203.0.113.20:80;\n"
                "\tlisten 203.0.113.10:443 ssl;\n"},
               {"\tlisten 203.0.113.10:80;\n"
                "\tserver_name two",
                "\tlisten 203.0.113.20:80;\n"
                "\tserver_name two"}}},
             {"a location of those that have it",
              R"(server {
  location @php {
    fastcgi_read_timeout 60s;
  }
}
)",
              {},
              {{"\t\tfastcgi_pass unix:/run/php7.4/client1.sock;\n",
                "\t\tfastcgi_pass unix:/run/php7.4/client1.sock;\n"
                "\t\tfastcgi_read_timeout 60s;\n"},
               {"\t\tfastcgi_pass unix:/run/php7.4/client2.sock;\n",
                "\t\tfastcgi_pass unix:/run/php7.4/client2.sock;\n"
                "\t\tfastcgi_read_timeout 60s;\n"}}},
         },
         true);
}

TEST(EverydayEdit, EditsTheFileOfAWholeNginx) {
  TryThereAndBack(
      Dialect::kNginx, kMain,
      {
          {"weight of a server of an upstream",
           R"(upstream app {
  server 10.0.0.1:8080 weight={% $weight %};
}
)",
           {{"weight", From("3", "5")}},
           {{"weight=3", "weight=5"}}},
          {"one of several headers for the application",
           R"(server {
  server_name app.example;
  location / {
    proxy_set_header Host {% $host %};
  }
}
)",
           {{"host", From("$host", "$http_host")}},
           {{"proxy_set_header Host              $host;",
             "proxy_set_header Host              $http_host;"}}},
          {"name of an upstream, and all that uses it",
           R"(upstream {% $name %} {
}
server {
  server_name api.app.example;
  location / {
    proxy_pass http://{% $name %};
  }
  location /ws/ {
    proxy_pass http://{% $name %}/ws/;
  }
}
)",
           {{"name", From("app", "backend")}},
           {{"    upstream app {\n", "    upstream backend {\n"},
            {"            proxy_pass http://app;\n", "            proxy_pass http://backend;\n"},
            {"http://app/ws/", "http://backend/ws/"}}},
          {"the server of a port in a stream",
           R"(stream {
  server {
    listen 3306;
    proxy_pass {% $to %};
  }
}
)",
           {{"to", From("10.0.0.9:3306", "10.0.0.8:3306")}},
           {{"10.0.0.9:3306", "10.0.0.8:3306"}}},
          {"a directive of http",
           R"(http {
  sendfile {% $value %};
}
)",
           {{"value", From("on", "off")}},
           {{"sendfile        on;", "sendfile        off;"}}},
      });
}

TEST(EverydayEdit, AddsToAndRemovesFromTheFileOfAWholeNginx) {
  TryAll(Dialect::kNginx, kMain,
         {
             {"whatever number of processes and connections",
              R"(worker_processes [% $number %];
events {
  worker_connections [% $connections %];
}
)",
              {{"number", To("4")}, {"connections", To("4096")}},
              {{"worker_processes  auto;", "worker_processes  4;"},
               {"worker_connections  1024;", "worker_connections  4096;"}}},
             {"a format over several lines",
              R"(http {
  log_format main [% $format %];
}
)",
              {{"format", To("'$remote_addr $status'")}},
              {{"'$remote_addr - $remote_user \"$request\" '\n"
                "                      '$status $body_bytes_sent';",
                "'$remote_addr $status';"}}},
             {"a format less",
              R"(http {
{% if $short %}
  log_format short [% $format %];
{% endif %}
}
)",
              {},
              {{"    log_format  short '$remote_addr \"$request\"';\n", ""}}},
             {"compression, of which a comment speaks",
              R"(http {
  gzip on;
}
)",
              {},
              {{"    sendfile        on;\n",
                "    sendfile        on;\n"
                "    gzip on;\n"}}},
             {"a server of an upstream",
              R"(upstream app {
  server 10.0.0.3:8080;
}
)",
              {},
              {{"        server 10.0.0.2:8080;\n",
                "        server 10.0.0.2:8080;\n"
                "        server 10.0.0.3:8080;\n"}}},
             {"a site, in http, behind the others",
              R"(server {
  listen 80;
  server_name new.example;
}
)",
              {},
              {{"            deny all;\n"
                "        }\n"
                "    }\n",
                "            deny all;\n"
                "        }\n"
                "    }\n"
                "\n"
                "    server {\n"
                "        listen 80;\n"
                "        server_name new.example;\n"
                "    }\n"}}},
             {"an address for a page of a nameless server",
              R"(server {
  listen 127.0.0.1:8081;
  location /status {
    allow 10.0.0.5;
  }
}
)",
              {},
              {{"            allow 127.0.0.1;\n",
                "            allow 127.0.0.1;\n"
                "            allow 10.0.0.5;\n"}}},
             {"a server of the stream's upstream",
              R"(stream {
  upstream dns {
    server 192.0.2.54:53;
  }
}
)",
              {},
              {{"        server 192.0.2.53:53;\n",
                "        server 192.0.2.53:53;\n"
                "        server 192.0.2.54:53;\n"}}},
         });
}

TEST(EverydayEdit, ChangesValuesOfAnApacheHost) {
  TryThereAndBack(Dialect::kApache, kHosts,
                  {
                      {"document root and its directory, both quoted",
                       R"(<VirtualHost *:80>
  ServerName blog.example
  DocumentRoot {% $root %}
  <Directory {% $root %}>
  </Directory>
</VirtualHost>
)",
                       {{"root", From("/srv/blog", "/data/blog")}},
                       {{"    DocumentRoot \"/srv/blog\"\n"
                         "    <Directory \"/srv/blog\">\n",
                         "    DocumentRoot \"/data/blog\"\n"
                         "    <Directory \"/data/blog\">\n"}}},
                      {"name of the redirect with its conditions, and of the host in a condition",
                       R"(<VirtualHost *:80>
  ServerName {% $name %}
  ServerAlias www.{% $name %}
  ServerAdmin webmaster@{% $name %}
  RewriteCond %{SERVER_NAME} =www.{% $name %} [OR]
  RewriteCond %{SERVER_NAME} ={% $name %}
</VirtualHost>
<VirtualHost *:443>
  ServerName {% $name %}
  ServerAlias www.{% $name %}
</VirtualHost>
)",
                       {{"name", From("shop.example", "store.example")}},
                       {{"    ServerName shop.example\n"
                         "    ServerAlias www.shop.example old.shop.example\n"
                         "    ServerAdmin webmaster@shop.example\n",
                         "    ServerName store.example\n"
                         "    ServerAlias www.store.example old.shop.example\n"
                         "    ServerAdmin webmaster@store.example\n"},
                        {"=www.shop.example [OR]\n"
                         "RewriteCond %{SERVER_NAME} =shop.example\n",
                         "=www.store.example [OR]\n"
                         "RewriteCond %{SERVER_NAME} =store.example\n"},
                        {"    ServerName shop.example\n"
                         "    ServerAlias www.shop.example old.shop.example\n"
                         "    DocumentRoot",
                         "    ServerName store.example\n"
                         "    ServerAlias www.store.example old.shop.example\n"
                         "    DocumentRoot"}}},
                      {"socket of PHP in a quoted word",
                       R"(<VirtualHost *:80>
  ServerName www.blog.example
  <FilesMatch \.php$>
    SetHandler "proxy:unix:/run/php/php{% $version %}-fpm.sock|fcgi://localhost/"
  </FilesMatch>
</VirtualHost>
)",
                       {{"version", From("7.4", "8.2")}},
                       {{"php7.4-fpm", "php8.2-fpm"}}},
                      {"socket of PHP, deep in a condition",
                       R"(<VirtualHost 203.0.113.10:80>
  ServerName one.example
  <Directory /var/www/one.example/web>
    <FilesMatch "\.php[345]?$">
      SetHandler proxy:unix:/run/php{% $version %}/one.sock|fcgi://localhost
    </FilesMatch>
  </Directory>
</VirtualHost>
)",
                       {{"version", From("7.4", "8.2")}},
                       {{"/run/php7.4/one.sock", "/run/php8.2/one.sock"}}},
                      {"one of several headers",
                       R"(<VirtualHost *:80>
  ServerName blog.example
  Header always set X-Frame-Options {% $x %}
</VirtualHost>
)",
                       {{"x", From("SAMEORIGIN", "DENY")}},
                       {{"X-Frame-Options \"SAMEORIGIN\"", "X-Frame-Options \"DENY\""}}},
                      {"a text with blanks",
                       R"(<VirtualHost *:80>
  ServerName blog.example
  ErrorDocument 500 "{% $text %}"
</VirtualHost>
)",
                       {{"text", From("Sorry, try again", "Back soon")}},
                       {{"\"Sorry, try again\"", "\"Back soon\""}}},
                      {"a realm",
                       R"(<VirtualHost *:80>
  ServerName blog.example
  <Location "/staff">
    AuthName "{% $realm %}"
  </Location>
</VirtualHost>
)",
                       {{"realm", From("Restricted Area", "Staff")}},
                       {{"\"Restricted Area\"", "\"Staff\""}}},
                      {"one of two aliases of paths",
                       R"(<VirtualHost *:80>
  ServerName blog.example
  Alias /media/ {% $path %}
</VirtualHost>
)",
                       {{"path", From("/srv/blog/media/", "/data/media/")}},
                       {{"/srv/blog/media/", "/data/media/"}}},
                      {"port of an application, both ways",
                       R"(<VirtualHost *:443>
  ServerName shop.example
  ProxyPass /api/ http://127.0.0.1:{% $port %}/
  ProxyPassReverse /api/ http://127.0.0.1:{% $port %}/
</VirtualHost>
)",
                       {{"port", From("8080", "9090")}},
                       {{"    ProxyPass /api/ http://127.0.0.1:8080/\n"
                         "    ProxyPassReverse /api/ http://127.0.0.1:8080/\n",
                         "    ProxyPass /api/ http://127.0.0.1:9090/\n"
                         "    ProxyPassReverse /api/ http://127.0.0.1:9090/\n"}}},
                      {"an address of two",
                       R"(<VirtualHost {% $ip %}:80>
  ServerName one.example
</VirtualHost>
)",
                       {{"ip", From("203.0.113.10", "203.0.113.20")}},
                       {{"<VirtualHost 203.0.113.10:80 [", "<VirtualHost 203.0.113.20:80 ["}}},
                      {"the address of the redirect",
                       R"(<VirtualHost {% $address %}:80>
  ServerName shop.example
</VirtualHost>
)",
                       {{"address", From("*", "192.0.2.7")}},
                       {{"<VirtualHost *:80>\n"
                         "    ServerName shop.example\n",
                         "<VirtualHost 192.0.2.7:80>\n"
                         "    ServerName shop.example\n"}}},
                      {"a log in a directory by variable",
                       R"(<VirtualHost *:443>
  ServerName shop.example
  ErrorLog ${APACHE_LOG_DIR}/{% $log %}
</VirtualHost>
)",
                       {{"log", From("shop-error.log", "tls-error.log")}},
                       {{"shop-error.log", "tls-error.log"}}},
                  });
}

TEST(EverydayEdit, ReplacesWhateverStandsInAnApacheHost) {
  TryAll(Dialect::kApache, kHosts,
         {
             {"certificates of a host in a condition",
              R"(<VirtualHost *:443>
  ServerName shop.example
  SSLCertificateFile [% $certificate %]
  SSLCertificateKeyFile [% $key %]
</VirtualHost>
)",
              {{"certificate", To("new.pem")}, {"key", To("new.key")}},
              {{"    SSLCertificateFile /etc/ssl/shop/chain.pem\n"
                "    SSLCertificateKeyFile /etc/ssl/shop/key.pem\n",
                "    SSLCertificateFile new.pem\n"
                "    SSLCertificateKeyFile new.key\n"}}},
             {"a format over two lines",
              R"(<VirtualHost *:443>
  ServerName shop.example
  LogFormat [% $format %]
</VirtualHost>
)",
              {{"format", To("\"%h %t\" shoplog")}},
              {{"    LogFormat \"%h %t \\\"%r\\\" \\\n"
                "%>s %b\" shoplog\n",
                "    LogFormat \"%h %t\" shoplog\n"}}},
             {"one variable of several",
              R"(<VirtualHost *:80>
  ServerName blog.example
  SetEnv DB_HOST [% $host %]
</VirtualHost>
)",
              {{"host", To("db.example")}},
              {{"SetEnv DB_HOST localhost", "SetEnv DB_HOST db.example"}}},
             {"who may see a directory, by its condition",
              R"(<VirtualHost *:443>
  ServerName shop.example
  <Directory /srv/shop/>
    <IfVersion >= 2.4>
      Require [% $who %]
    </IfVersion>
  </Directory>
</VirtualHost>
)",
              {{"who", To("ip 10.0.0.0/8")}},
              {{"        <IfVersion >= 2.4>\n"
                "            Require all granted\n",
                "        <IfVersion >= 2.4>\n"
                "            Require ip 10.0.0.0/8\n"}}},
             {"in small letters",
              R"(<virtualhost *:443>
  servername SHOP.example
  documentroot [% $root %]
</virtualhost>
)",
              {{"root", To("/data/shop")}},
              {{"    DocumentRoot /srv/shop\n"
                "    ErrorLog",
                "    DocumentRoot /data/shop\n"
                "    ErrorLog"}}},
             {"the page of one error among several",
              R"(<VirtualHost 203.0.113.10:80>
  ServerName *.one.example
  ErrorDocument 404 [% $page %]
</VirtualHost>
)",
              {{"page", To("/gone.html")}},
              {{"ErrorDocument 404 /error/404.html", "ErrorDocument 404 /gone.html"}}},
         });
}

TEST(EverydayEdit, AddsToAnApacheHost) {
  TryAll(Dialect::kApache, kHosts,
         {
             {"an alias behind aliases over several lines",
              R"(<VirtualHost *:80>
  ServerName blog.example
  ServerAlias new.blog.example
</VirtualHost>
)",
              {},
              {{"                b.example\n",
                "                b.example\n"
                "    ServerAlias new.blog.example\n"}}},
             {"a redirect to TLS where there are no rules",
              R"(<VirtualHost *:80>
  ServerName blog.example
  RewriteEngine on
  RewriteCond %{HTTPS} off
  RewriteRule ^ https://%{HTTP_HOST}%{REQUEST_URI} [L,R=301]
</VirtualHost>
)",
              {},
              {{"    DocumentRoot \"/srv/blog\"\n",
                "    DocumentRoot \"/srv/blog\"\n"
                "    RewriteEngine on\n"
                "    RewriteCond %{HTTPS} off\n"
                "    RewriteRule ^ https://%{HTTP_HOST}%{REQUEST_URI} [L,R=301]\n"}}},
             {"a narrower path before the wider one",
              R"(<VirtualHost *:443>
  ServerName shop.example
  ProxyPass /api/v2/ http://127.0.0.1:8082/
  ProxyPass /api/ http://127.0.0.1:8080/
</VirtualHost>
)",
              {},
              {{"    ProxyPass /api/ http://127.0.0.1:8080/\n"
                "    ProxyPassReverse",
                "    ProxyPass /api/v2/ http://127.0.0.1:8082/\n"
                "    ProxyPass /api/ http://127.0.0.1:8080/\n"
                "    ProxyPassReverse"}}},
             {"a header",
              R"(<VirtualHost *:80>
  ServerName blog.example
  Header always set Referrer-Policy no-referrer
</VirtualHost>
)",
              {},
              {{"    Header set Cache-Control \"max-age=600, public\"\n",
                "    Header set Cache-Control \"max-age=600, public\"\n"
                "    Header always set Referrer-Policy no-referrer\n"}}},
             {"a site behind the others of its kind",
              R"(<VirtualHost 203.0.113.10:80>
  ServerName two.example
  DocumentRoot /var/www/two.example/web
</VirtualHost>
)",
              {},
              {{"\t\t\t</Directory>\n"
                "\t\t</IfModule>\n"
                "</VirtualHost>\n",
                "\t\t\t</Directory>\n"
                "\t\t</IfModule>\n"
                "</VirtualHost>\n"
                "\n"
                "<VirtualHost 203.0.113.10:80>\n"
                "    ServerName two.example\n"
                "    DocumentRoot /var/www/two.example/web\n"
                "</VirtualHost>\n"}}},
         });
}

TEST(EverydayEdit, RemovesFromAnApacheHost) {
  TryAll(Dialect::kApache, kHosts,
         {
             {"the redirect to TLS",
              R"(<VirtualHost *:80>
  ServerName shop.example
{% if $redirect %}
  RewriteEngine on
  RewriteCond %{SERVER_NAME} =www.shop.example [OR]
  RewriteCond %{SERVER_NAME} =shop.example
  RewriteRule ^ https://%{SERVER_NAME}%{REQUEST_URI} [END,NE,R=permanent]
{% endif %}
</VirtualHost>
)",
              {},
              {{"RewriteEngine on\n"
                "RewriteCond %{SERVER_NAME} =www.shop.example [OR]\n"
                "RewriteCond %{SERVER_NAME} =shop.example\n"
                "RewriteRule ^ https://%{SERVER_NAME}%{REQUEST_URI} [END,NE,R=permanent]\n",
                ""}}},
             {"an alias in the middle of several lines",
              R"(<VirtualHost *:80>
  ServerName blog.example
{% if $mobile %}
  ServerAlias m.blog.example
{% endif %}
</VirtualHost>
)",
              {},
              {{"                m.blog.example \\\n", ""}}},
             {"the last alias of several lines",
              R"(<VirtualHost *:80>
  ServerName blog.example
{% if $short %}
  ServerAlias b.example
{% endif %}
</VirtualHost>
)",
              {},
              {{"                m.blog.example \\\n"
                "                b.example\n",
                "                m.blog.example\n"}}},
             {"a word of the options",
              R"(<VirtualHost *:80>
  ServerName blog.example
  <Directory /srv/blog>
{% if $listing %}
    Options Indexes
{% endif %}
  </Directory>
</VirtualHost>
)",
              {},
              {{"Options Indexes FollowSymLinks", "Options FollowSymLinks"}}},
             {"a variable",
              R"(<VirtualHost *:80>
  ServerName blog.example
{% if $environment %}
  SetEnv APP_ENV [% $environment %]
{% endif %}
</VirtualHost>
)",
              {},
              {{"    SetEnv APP_ENV production\n", ""}}},
             {"the password of a path",
              R"(<VirtualHost *:80>
  ServerName blog.example
{% if $secret %}
  <Location /staff>
  </Location>
{% endif %}
</VirtualHost>
)",
              {},
              {{"    <Location /staff>\n"
                "        AuthType Basic\n"
                "        AuthName \"Restricted Area\"\n"
                "        AuthUserFile /etc/apache2/staff\n"
                "        Require valid-user\n"
                "    </Location>\n",
                ""}}},
             {"a condition that is no longer needed",
              R"(<VirtualHost *:443>
  ServerName shop.example
  <Directory /srv/shop/>
{% if $old %}
    <IfVersion < 2.4>
    </IfVersion>
{% endif %}
  </Directory>
</VirtualHost>
)",
              {},
              {{"        <IfVersion < 2.4>\n"
                "            Order allow,deny\n"
                "            Allow from all\n"
                "        </IfVersion>\n",
                ""}}},
         });
}

TEST(EverydayEdit, EditsHtaccess) {
  TryAll(Dialect::kApache, kHtaccess,
         {
             {"sizes",
              R"(php_value upload_max_filesize [% $size %]
php_value post_max_size [% $size %]
)",
              {{"size", To("128M")}},
              {{"php_value upload_max_filesize 64M\n"
                "php_value post_max_size 64M\n",
                "php_value upload_max_filesize 128M\n"
                "php_value post_max_size 128M\n"}}},
             {"the base of the rules, and the rule that uses it",
              R"(RewriteBase {% $base %}
RewriteRule . {% $base %}index.php [L]
)",
              {{"base", From("/", "/blog/")}},
              {{"RewriteBase /\n", "RewriteBase /blog/\n"},
               {"RewriteRule . /index.php [L]", "RewriteRule . /blog/index.php [L]"}}},
             {"a quoted file",
              R"({% if $setup %}
<Files setup.php>
</Files>
{% endif %}
)",
              {},
              {{"<Files \"setup.php\">\n"
                "\tRequire all denied\n"
                "</Files>\n",
                ""}}},
             {"another option",
              R"(Options -Indexes +FollowSymLinks
)",
              {},
              {{"Options -Indexes\n", "Options -Indexes +FollowSymLinks\n"}}},
             {"how long pictures stay",
              R"(ExpiresByType image/png [% $time %]
)",
              {{"time", To("\"access plus 1 year\"")}},
              {{"image/png \"access plus 1 month\"", "image/png \"access plus 1 year\""}}},
         });
}

TEST(EverydayEdit, EditsThePortsOfApache) {
  TryAll(Dialect::kApache, kPorts,
         {
             {"one more",
              R"(Listen 8080
)",
              {},
              {{"Listen 80\n",
                "Listen 80\n"
                "Listen 8080\n"}}},
             {"one in a condition",
              R"(<IfModule ssl_module>
  Listen {% $port %}
</IfModule>
)",
              {{"port", From("443", "8443")}},
              {{"Listen 443", "Listen 8443"}}},
             {"one less",
              R"({% if $plain %}
Listen 80
{% endif %}
)",
              {},
              {{"Listen 80\n", ""}}},
         });
}

struct Refused {
  const char* name;
  const char* template_text;
  tov_edit::Values values;
  const char* reason;
  const char* message;  // a part of it
};

TEST(EverydayEdit, IsRefusedWhereItWouldBeAGuess) {
  const Refused cases[] = {
      {"a redirect and a site of one name",
       R"(server {
  server_name shop.example;
  client_max_body_size [% $size %];
}
)",
       {{"size", To("1g")}},
       "ambiguous",
       "file.conf:15:1 'server' (shop.example, www.shop.example, *:80, [::]:80), file.conf:26:1 "
       "'server' (shop.example, *:443, [::]:443)"},
      {"headers that begin alike",
       R"(server {
  listen 443;
  server_name shop.example;
  add_header [% $header %];
}
)",
       {{"header", To("X-A b")}},
       "ambiguous",
       "file.conf:41:5 'add_header X-Frame-Options \"SAMEORIGIN\" always;'"},
      {"a value that somebody has changed",
       R"(server {
  server_name two.example;
  root {% $root %};
}
)",
       {{"root", From("/var/www/two", "/data/two")}},
       "other-value",
       "file.conf:93:2 'root /var/www/client2/web/;'"},
      {"a name that another site has",
       R"(server {
  server_name {% $name %};
}
)",
       {{"name", From("two.example", "one.example")}},
       "collision",
       "'one.example'"},
      {"an old name that is not there",
       R"(server {
  server_name {% $name %};
}
)",
       {{"name", From("tow.example", "three.example")}},
       "unmatched-section",
       "there is no 'server {' (tow.example) in file.conf"},
      {"a value that writes a directive",
       R"(server {
  server_name two.example;
  root [% $root %];
}
)",
       {{"root", To("/srv; autoindex on")}},
       "value",
       "'root'"},
  };
  for (const Refused& c : cases) {
    SCOPED_TRACE(c.name);
    tov_edit::Request request;
    request.template_name = "site.template";
    request.template_text = c.template_text;
    request.values = c.values;
    const tov_edit::Result result = tov_edit::Edit(request, kSites, "file.conf");
    EXPECT_EQ(result.text, kSites);
    ASSERT_EQ(result.refusals.size(), 1U);
    EXPECT_EQ(result.refusals.front().name, c.reason);
    EXPECT_THAT(Shown(result.refusals.front()), testing::HasSubstr(c.message));
  }
}

struct Switch {
  const char* name;
  Dialect dialect;
  const char* file;
  const char* template_text;  // with what goes on and off in a branch of `on`
};

TEST(EverydayEdit, OnAndOffAgainGivesTheFileBack) {
  const Switch cases[] = {
      {"a site that is suspended", Dialect::kNginx, kSites,
       R"(server {
  server_name two.example;
{% if $on %}
  return 503;
{% endif %}
}
)"},
      {"TLS", Dialect::kNginx, kSites,
       R"(server {
  server_name two.example;
{% if $on %}
  listen 203.0.113.10:443 ssl;
  ssl_certificate two.crt;
  ssl_certificate_key two.key;
  if ($scheme != "https") {
    rewrite ^ https://$host$request_uri? permanent;
  }
{% endif %}
}
)"},
      {"an alias of a site with aliases over several lines", Dialect::kNginx, kSites,
       R"(server {
  server_name blog.example;
  listen 443;
{% if $on %}
  server_name new.blog.example;
{% endif %}
}
)"},
      {"a directive of a location on one line", Dialect::kNginx, kSites,
       R"(server {
  server_name shop.example;
  listen 443;
  location = /robots.txt {
{% if $on %}
    expires 1d;
{% endif %}
  }
}
)"},
      {"a site at the end of the file", Dialect::kNginx, kSites,
       R"({% if $on %}
server {
  listen 443 ssl;
  server_name new.example;
  location / {
    return 404;
  }
}
{% endif %}
)"},
      {"a redirect to TLS", Dialect::kApache, kHosts,
       R"(<VirtualHost *:80>
  ServerName blog.example
{% if $on %}
  RewriteEngine on
  RewriteCond %{HTTPS} off
  RewriteRule ^ https://%{HTTP_HOST}%{REQUEST_URI} [L,R=301]
{% endif %}
</VirtualHost>
)"},
      {"a path for some addresses", Dialect::kApache, kHosts,
       R"(<VirtualHost *:443>
  ServerName shop.example
{% if $on %}
  ServerAlias new.shop.example
  <Location /admin>
    Require ip 192.0.2.0/24
  </Location>
{% endif %}
</VirtualHost>
)"},
      {"a host with addresses", Dialect::kApache, kHosts,
       R"({% if $on %}
<VirtualHost 203.0.113.10:80 [2001:db8::10]:80>
  ServerName two.example
  DocumentRoot /var/www/two.example/web
</VirtualHost>
{% endif %}
)"},
      {"a file that nobody may read", Dialect::kApache, kHtaccess,
       R"({% if $on %}
Options -MultiViews
<Files .env>
  Require all denied
</Files>
{% endif %}
)"},
      {"a port in a condition", Dialect::kApache, kPorts,
       R"(<IfModule ssl_module>
{% if $on %}
  Listen 8443
{% endif %}
</IfModule>
)"},
  };
  for (const Switch& c : cases) {
    SCOPED_TRACE(c.name);
    tov_edit::Request off;
    off.dialect = c.dialect;
    off.template_text = c.template_text;
    tov_edit::Request on = off;
    on.values["on"] = To("yes");
    for (const std::string& file : {std::string(c.file), WithCarriageReturns(c.file)}) {
      const std::string with = Edited(on, file);
      EXPECT_NE(with, file);
      EXPECT_EQ(Edited(on, with), with);
      EXPECT_EQ(Edited(off, with), file);
      EXPECT_EQ(Edited(off, file), file) << "off where it was never on";
    }
  }
}

TEST(EverydayEdit, KeepsToWhatIsThereWhenAsked) {
  tov_edit::Request request;
  request.template_text = "server {\n  server_name new.example;\n  gzip on;\n}\n";
  const std::string file = kSites;
  ASSERT_NE(Edited(request, file), file);

  request.skip_missing = true;
  const tov_edit::Result skipped = tov_edit::Edit(request, file, "file.conf");
  EXPECT_TRUE(skipped.skipped);
  EXPECT_EQ(skipped.text, file);
  request.skip_missing = false;

  request.create = tov_edit::Create::kNever;
  EXPECT_THAT(Edited(request, file), testing::HasSubstr("there is no 'server {' (new.example)"));

  request.template_text = "server {\n  server_name two.example;\n}\n";
  EXPECT_EQ(Edited(request, file), file);
  request.create = tov_edit::Create::kOnly;
  EXPECT_THAT(Edited(request, file), testing::HasSubstr("this block is there already"));
  request.create = tov_edit::Create::kIfMissing;

  request.must_exist = true;
  request.template_text = "{% if $on %}\nserver {\n  server_name tow.example;\n}\n{% endif %}\n";
  EXPECT_THAT(Edited(request, file), testing::HasSubstr("there is no 'server {' (tow.example)"));
}

}  // namespace
