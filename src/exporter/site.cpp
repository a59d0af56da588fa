#include "exporter/site.h"

#include "exporter/scrape_headers.h"
#include "output/version.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace zanctl::exporter {
namespace {

constexpr std::size_t kMaxHeader = std::size_t{16} << 10U;
constexpr std::string_view kPlain = "text/plain; charset=utf-8";
constexpr std::string_view kPage = "text/html; charset=utf-8";

std::shared_ptr<MHD_Response> responseOf(std::string_view body, std::string_view type) {
  std::shared_ptr<MHD_Response> response(
      MHD_create_response_from_buffer(body.size(), const_cast<char*>(body.data()),
                                      MHD_RESPMEM_MUST_COPY),
      MHD_destroy_response);
  MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE, std::string(type).c_str());
  return response;
}

MHD_Result respond(MHD_Connection* connection, unsigned status, std::string_view body,
                   std::string_view type = kPlain) {
  const auto response = responseOf(body, type);
  if (status == MHD_HTTP_UNAUTHORIZED) {
    MHD_add_response_header(response.get(), MHD_HTTP_HEADER_WWW_AUTHENTICATE,
                            "Basic realm=\"zanctl-exporter\"");
  }
  if (status == MHD_HTTP_METHOD_NOT_ALLOWED) {
    MHD_add_response_header(response.get(), MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
  }
  return MHD_queue_response(connection, status, response.get());
}

std::string escaped(std::string_view text) {
  std::string html;
  for (const char c : text) {
    if (std::string_view("<>&\"'").find(c) == std::string_view::npos) {
      html.push_back(c);
    } else {
      html += fmt::format("&#{};", static_cast<int>(c));
    }
  }
  return html;
}

std::string pageFor(const std::string& telemetryPath) {
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head><title>zanctl-exporter</title></head>\n<body>\n"
      "<h1>zanctl-exporter {}</h1>\n<p>Metrics of the Zanthe GPUs of this machine:\n"
      "<a href=\"{}\">{}</a></p>\n</body>\n</html>\n",
      kVersion, escaped(telemetryPath), escaped(telemetryPath));
}

const char* header(MHD_Connection* connection, const char* name) {
  return MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
}

bool hasBody(MHD_Connection* connection) {
  const char* length = header(connection, MHD_HTTP_HEADER_CONTENT_LENGTH);
  return (length != nullptr && std::string_view(length) != "0") ||
         header(connection, MHD_HTTP_HEADER_TRANSFER_ENCODING) != nullptr;
}

std::size_t headerSize(MHD_Connection* connection) {
  const MHD_ConnectionInfo* info =
      MHD_get_connection_info(connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE);
  return info == nullptr ? 0 : info->header_size;
}

}  // namespace

struct Site::Request {
  enum class Admission { unknown, awaited, refused, granted };

  MHD_Connection* connection;
  std::string method;
  Admission admission = Admission::unknown;
  std::string user = {};
  std::string password = {};
  Response scraped = {};  // once the round has ended
};

Site::Site(const Options& options, collector::Collector& collector)
    : telemetryPath_(options.telemetryPath),
      page_(pageFor(options.telemetryPath)),
      groups_(options.groups),
      collector_(collector) {}

MHD_Result Site::handle(MHD_Connection* connection, const char* path, const char* method,
                        void** state) {
  if (closing_) return MHD_NO;
  if (*state == nullptr) {
    *state = new Request{.connection = connection, .method = method};
    if (headerSize(connection) > kMaxHeader) {
      return respond(connection, MHD_HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE, "Too much header.\n");
    }
    // What comes behind the headers, perhaps without end, is not waited for, though the connection
    // ends with such an answer.
    if (!hasBody(connection)) return MHD_YES;
  }
  auto& request = *static_cast<Request*>(*state);
  judge(request);
  switch (request.admission) {
    case Request::Admission::granted:
      return answer(request, path);
    case Request::Admission::refused:
      return respond(connection, MHD_HTTP_UNAUTHORIZED, "Unauthorized\n");
    default:
      return MHD_YES;
  }
}

void Site::judge(Request& request) {
  using Admission = Request::Admission;
  if (request.admission != Admission::unknown) return;
  request.admission = Admission::granted;
  if (!passwords_.areNeeded()) return;
  char* password = nullptr;
  char* user = MHD_basic_auth_get_username_password(request.connection, &password);
  request.user = user == nullptr ? "" : user;
  request.password = password == nullptr ? "" : password;
  if (user == nullptr) {
    request.admission = Admission::refused;
  } else if (!passwords_.remembers(request.user, request.password)) {
    request.admission = Admission::awaited;
    visitors_.push_back(&request);
    MHD_suspend_connection(request.connection);
  }
  MHD_free(user);
  MHD_free(password);
}

void Site::seeToVisitors() {
  if (const auto isRight = comparison_.result()) admitFirstVisitor(*isRight);
  while (!visitors_.empty() && !comparison_.isUnderWay()) {
    const Request* visitor = visitors_.front();
    // Somebody may have come with the same pair before.
    if (visitor == nullptr || passwords_.remembers(visitor->user, visitor->password)) {
      admitFirstVisitor(true);
      continue;
    }
    hash_ = passwords_.hashFor(visitor->user);
    comparison_.start(visitor->password, hash_);
    return;
  }
}

void Site::admitFirstVisitor(bool isRight) {
  Request* visitor = visitors_.front();
  visitors_.pop_front();
  if (visitor == nullptr) return;
  const bool isKnown = passwords_.remembers(visitor->user, visitor->password);
  const bool enters =
      isKnown || (isRight && passwords_.admit(visitor->user, visitor->password, hash_));
  visitor->admission = enters ? Request::Admission::granted : Request::Admission::refused;
  MHD_resume_connection(visitor->connection);
}

MHD_Result Site::answer(Request& request, const std::string& path) {
  if (request.method != "GET" && request.method != "HEAD") {
    return respond(request.connection, MHD_HTTP_METHOD_NOT_ALLOWED, "Only GET and HEAD.\n");
  }
  if (path == telemetryPath_) return answerScrape(request);
  if (path == "/") return respond(request.connection, MHD_HTTP_OK, page_, kPage);
  if (path == "/-/healthy") return respond(request.connection, MHD_HTTP_OK, "Healthy\n");
  if (path == "/-/ready") return answerReady(request.connection);
  return respond(request.connection, MHD_HTTP_NOT_FOUND, "Not found\n");
}

MHD_Result Site::answerReady(MHD_Connection* connection) {
  if (ready_) return respond(connection, MHD_HTTP_OK, "Ready\n");
  // Whoever sends scrapes only where it is ready would wait for ever.
  if (!collector_.isRunning()) wantRound(deadlineFor(nullptr));
  return respond(connection, MHD_HTTP_SERVICE_UNAVAILABLE, "Not ready\n");
}

MHD_Result Site::answerScrape(Request& request) {
  if (request.scraped) {
    return MHD_queue_response(request.connection, MHD_HTTP_OK, request.scraped.get());
  }
  wantRound(deadlineFor(header(request.connection, "X-Prometheus-Scrape-Timeout-Seconds")));
  scrapes_.push_back(&request);
  MHD_suspend_connection(request.connection);
  return MHD_YES;
}

void Site::wantRound(std::chrono::milliseconds patience) {
  if (collector_.isRunning()) {
    collector_.shortenRound(patience);
    return;
  }
  patience_ = roundIsWanted_ ? std::min(patience_, patience) : patience;
  roundIsWanted_ = true;
}

void Site::proceed() {
  const bool wasRunning = collector_.isRunning();
  collector_.proceed();
  if (wasRunning && !collector_.isRunning()) deliver();
}

void Site::work() {
  seeToVisitors();
  if (!roundIsWanted_) return;
  roundIsWanted_ = false;
  collector_.startRound({.groups = groups_, .deadline = patience_});
  if (!collector_.isRunning()) deliver();
}

void Site::deliver() {
  ready_ = true;
  if (scrapes_.empty()) return;
  const Scrape scrape(collector_.snapshot(), groups_);
  std::array<Response, 2> responses;
  for (Request* request : std::exchange(scrapes_, {})) {
    const TextFormat format = formatFor(header(request->connection, MHD_HTTP_HEADER_ACCEPT));
    Response& response = responses[static_cast<std::size_t>(format)];
    if (!response) response = responseOf(writeText(format, scrape), contentType(format));
    request->scraped = response;
    MHD_resume_connection(request->connection);
  }
}

void Site::complete(void* state) {
  auto* request = static_cast<Request*>(state);
  std::erase(scrapes_, request);
  std::replace(visitors_.begin(), visitors_.end(), request, static_cast<Request*>(nullptr));
  delete request;
}

void Site::shutDown() {
  closing_ = true;
  for (const Request* request : scrapes_) MHD_resume_connection(request->connection);
  for (const Request* request : visitors_) {
    if (request != nullptr) MHD_resume_connection(request->connection);
  }
}

}  // namespace zanctl::exporter
