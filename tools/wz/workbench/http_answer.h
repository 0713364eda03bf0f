/// Answers to HTTP requests, each with the header fields that keep a browser from making more of
/// them than they are.
#ifndef WZ_WORKBENCH_HTTP_ANSWER_H
#define WZ_WORKBENCH_HTTP_ANSWER_H

#include <cstdint>
#include <string>
#include <string_view>

struct mg_connection;
struct mg_request_info;

namespace wz {

struct HttpAnswer {
  int status = 200;
  std::string type = "text/plain; charset=utf-8";
  std::string policy;   ///< Content-Security-Policy; empty: that of the workbench's page
  std::string further;  ///< header fields, each with its line end
};

/// Sends an answer with its content. Each returns the status.
int sendAnswer(mg_connection* connection, const HttpAnswer& answer, std::string_view content);
int sendFile(mg_connection* connection, const HttpAnswer& answer, int file, std::uint64_t size);

/// A page of a few words: what is wrong, and what to do.
int sendWords(mg_connection* connection, int status, const std::string& title,
              const std::string& text);

// Of a request.
[[nodiscard]] std::string_view pathOf(const mg_request_info& request);
/// A variable of the query; empty when it is not there, or has more than 8 KiB.
[[nodiscard]] std::string queryText(const mg_request_info& request, const char* name);
[[nodiscard]] bool hasQuery(const mg_request_info& request, const char* name);

/// By the ending of the name; nullptr for one that the page has no use for.
[[nodiscard]] const char* pageFileType(std::string_view name);
/// Of an icon; nullptr for what is no picture.
[[nodiscard]] const char* pictureType(std::string_view name);

}  // namespace wz

#endif  // WZ_WORKBENCH_HTTP_ANSWER_H
