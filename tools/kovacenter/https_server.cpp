#include "kovacenter/https_server.h"

#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <stdexcept>

namespace kova::center {
namespace {

constexpr std::size_t kLongestBody = std::size_t{16} << 20;
constexpr std::size_t kThreads = 64;
constexpr std::size_t kRequestsPerConnection = 1000;
constexpr int kBacklog = 128;
constexpr const char *kLoopback = "127.0.0.1";

// Reads a body within the limit; false, with a status that says why, when there is none.
bool readBody(const httplib::Request &request, httplib::Response &response, const httplib::ContentReader &body,
              std::string &content) {
  if (request.is_multipart_form_data()) {
    response.status = 415;
    return false;
  }
  return body([&](const char *data, std::size_t size) {
    if (content.size() + size > kLongestBody) return false;
    content.append(data, size);
    return true;
  });
}

// Promises the whole body and sends half of it.
void cutShort(const Reply &reply, httplib::Response &response) {
  const auto sendHalf = [half = reply.body.substr(0, reply.body.size() / 2)](std::size_t, std::size_t,
                                                                             httplib::DataSink &sink) {
    sink.write(half.data(), half.size());
    return false;
  };
  response.set_content_provider(reply.body.size(), reply.contentType, sendHalf);
}

std::string withoutPort(const std::string &host) {
  return host.substr(0, host.find(':'));
}

}  // namespace

thread_local ClientStream *HttpsServer::stream_ = nullptr;

HttpsServer::HttpsServer(const Credentials &credentials, Service &service, const StopEvent &stop, int port)
    : context_(SSL_CTX_new(TLS_server_method())), service_(service), stop_(stop) {
  if (context_ == nullptr || SSL_CTX_use_certificate(context_.get(), credentials.certificate.get()) != 1 ||
      SSL_CTX_use_PrivateKey(context_.get(), credentials.key.get()) != 1) {
    throw std::runtime_error("cannot set up TLS");
  }

  new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  set_tcp_nodelay(true);
  set_keep_alive_timeout(kKeepAlive.count());
  set_keep_alive_max_count(kRequestsPerConnection);
  set_payload_max_length(kLongestBody);
  set_socket_options([](socket_t socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  });
  const auto plain = [this](const httplib::Request &request, httplib::Response &response) {
    handle(request, response, nullptr);
  };
  const auto withBody = [this](const httplib::Request &request, httplib::Response &response,
                               const httplib::ContentReader &body) { handle(request, response, &body); };
  constexpr const char *kAny = "[^]*";
  Get(kAny, plain).Options(kAny, plain);
  Post(kAny, withBody).Put(kAny, withBody).Patch(kAny, withBody).Delete(kAny, withBody);

  port_ = port == 0 ? bind_to_any_port(kLoopback) : bind_to_port(kLoopback, port) ? port : -1;
  if (port_ < 0) throw std::runtime_error("cannot listen on port " + std::to_string(port));
  ::listen(svr_sock_, kBacklog);
  thread_ = std::thread([this] { listen_after_bind(); });
  while (!is_running()) std::this_thread::yield();
}

HttpsServer::~HttpsServer() {
  stop_.set();
  Server::stop();
  thread_.join();
}

bool HttpsServer::process_and_close_socket(socket_t socket) try {
  ClientStream stream(socket, context_.get(), stop_);
  if (!stream.handshake()) return false;
  stream_ = &stream;
  bool closed = false;
  while (!closed && stream.waitForRequest() && process_request(stream, false, closed, nullptr)) continue;
  return true;
} catch (const std::exception &error) {
  std::cerr << "kovacenter: " << error.what() << std::endl;
  return false;
}

void HttpsServer::handle(const httplib::Request &request, httplib::Response &response,
                         const httplib::ContentReader *body) {
  const std::size_t question = std::min(request.target.find('?'), request.target.size());
  Request received;
  received.host = withoutPort(request.get_header_value("Host"));
  received.method = request.method;
  received.path = request.target.substr(0, question);
  if (body == nullptr) {
    received.form = request.target.substr(std::min(question + 1, request.target.size()));
  } else if (!readBody(request, response, *body, received.form)) {
    response.set_header("Connection", "close");
    stream_->closeAfterReply();
    return;
  }
  transmit(service_.answer(received), response);
}

void HttpsServer::transmit(const Answer &answer, httplib::Response &response) {
  const Reply &reply = answer.reply;
  response.status = reply.status;
  if (!reply.location.empty()) response.set_header("Location", reply.location);
  if (answer.fault == FaultKind::kCut) {
    cutShort(reply, response);
  } else {
    response.set_content(reply.body, reply.contentType);
  }
  if (!answer.fault) return;

  const std::chrono::milliseconds time(answer.milliseconds);
  switch (*answer.fault) {
    case FaultKind::kDelay:
      stop_.sleep(time);
      break;
    case FaultKind::kDrip:
      stream_->drip(time);
      break;
    case FaultKind::kGarbage:
      stream_->write(reply.body.data(), reply.body.size());
      stream_->end();
      break;
    case FaultKind::kReset:
      stream_->endWithReset();
      break;
    case FaultKind::kSilence:
      stream_->waitForPeerToLeave();
      break;
    case FaultKind::kStatus:
    case FaultKind::kBody:
    case FaultKind::kRedirect:
    case FaultKind::kCut:
      break;
  }
}

}  // namespace kova::center
