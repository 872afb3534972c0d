// SPDX-License-Identifier: Apache-2.0

#include "server/live_http.h"

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <new>
#include <stdexcept>

#include "template/framework/str.h"

namespace {

class Library {
 public:
  Library() {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw std::runtime_error("no libcurl");
  }
  ~Library() { curl_global_cleanup(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

std::size_t AddBody(const char* data, std::size_t /*one*/, std::size_t size, void* response) {
  static_cast<HttpResponse*>(response)->body.append(data, size);
  return size;
}

std::size_t AddHeader(const char* data, std::size_t /*one*/, std::size_t size, void* response) {
  const std::string line(data, size);
  if (!str::StartsWith(line, "HTTP/") && !str::StartsWith(line, "Date:")) {
    static_cast<HttpResponse*>(response)->headers += line;
  }
  return size;
}

// The title of an HTML page, the whole of any other text.
std::string Title(const std::string& body) {
  std::string rest = body;
  str::GetWord(rest, "<title>");
  return rest.empty() ? body : str::GetWord(rest, "</title>");
}

std::string Failure(CURLcode result) {
  if (result == CURLE_OK) return "";
  if (result == CURLE_COULDNT_CONNECT) return "refused";
  if (result == CURLE_SSL_CONNECT_ERROR) return "no TLS";
  if (result == CURLE_PEER_FAILED_VERIFICATION) return "untrusted";
  return curl_easy_strerror(result);
}

}  // namespace

std::string HttpResponse::Summary() const {
  if (!failure.empty()) return failure;
  return str::Append(std::to_string(status), status == 200 ? Title(body) : redirect, " ");
}

std::string HttpResponse::Whole() const {
  return failure + std::to_string(status) + "\n" + headers + body;
}

HttpResponse HttpGet(const HttpRequest& request) {
  static const Library library;
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                 curl_easy_cleanup);
  // For every host, on the port that the URL names.
  const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> connect_to(
      curl_slist_append(nullptr, ("::" + request.address + ":").c_str()), curl_slist_free_all);
  // A server that is about to end its workers closes the connection anyway, and says so.
  const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
      curl_slist_append(nullptr, "Connection: close"), curl_slist_free_all);
  if (curl == nullptr || connect_to == nullptr || headers == nullptr) throw std::bad_alloc();

  HttpResponse response;
  curl_easy_setopt(curl.get(), CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_CONNECT_TO, connect_to.get());
  curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(curl.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 20L);
  curl_easy_setopt(curl.get(), CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(curl.get(), CURLOPT_CAINFO,
                   request.trusted.empty() ? nullptr : request.trusted.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, AddBody);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &response);
  curl_easy_setopt(curl.get(), CURLOPT_HEADERFUNCTION, AddHeader);
  curl_easy_setopt(curl.get(), CURLOPT_HEADERDATA, &response);

  const std::string failure = Failure(curl_easy_perform(curl.get()));
  if (!failure.empty()) return {failure, 0, "", "", ""};
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &response.status);
  const char* redirect = nullptr;
  curl_easy_getinfo(curl.get(), CURLINFO_REDIRECT_URL, &redirect);
  if (redirect != nullptr) response.redirect = redirect;
  return response;
}
