// SPDX-License-Identifier: Apache-2.0

// A client that asks a server on the loopback.
#pragma once

#include <string>

struct HttpRequest {
  std::string url;      // may name any host: nothing is looked up
  std::string address;  // the address to connect to: "127.0.0.1", "[::1]"
  std::string trusted;  // the file of the one certificate that the client trusts; "": none
};

struct HttpResponse {
  std::string failure;  // "" when the server answered, else what failed; the rest is then empty
  long status = 0;
  std::string redirect;  // where a redirect leads to
  std::string headers;   // without the status line and the Date
  std::string body;

  // The answer in one line: the status, behind it the body of a 200 (of a page with a title only
  // that) or where a redirect leads to. Without an answer "refused" when nothing listens, "no TLS"
  // when the two do not agree on a connection, "untrusted" for a certificate that the client does
  // not trust, else what the client says.
  std::string Summary() const;

  // All of the answer that depends on the server's configuration.
  std::string Whole() const;
};

// Asks over a new connection; a redirect is not followed.
HttpResponse HttpGet(const HttpRequest& request);
