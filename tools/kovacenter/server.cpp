#include "kovacenter/server.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "kovacenter/diagnostic.h"
#include "kovacenter/faults.h"
#include "kovacenter/hosts.h"
#include "kovacenter/message.h"
#include "kovacenter/service.h"

namespace kova::center {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::awaitable;
using asio::use_awaitable;
using asio::ip::tcp;
using beast::error_code;
using namespace std::chrono_literals;

using HttpRequest = http::request<http::string_body>;
using HttpResponse = http::response<http::string_body>;

constexpr unsigned kHttp11 = 11;  // as Beast counts versions
constexpr uint32_t kLargestHead = uint32_t{64} << 10;
constexpr std::ptrdiff_t kMostFields = 100;  // of a head
constexpr uint64_t kLargestBody = uint64_t{16} << 20;
// The time that a client has for its TLS handshake, for a whole request, and to take a whole reply.
constexpr auto kClientTimeout = 30s;
// The time that a client has to end its side of a connection that the service closes.
constexpr auto kCloseTimeout = 3s;
constexpr auto kAcceptRetryDelay = 100ms;
constexpr std::size_t kFirstRead = 1024;

template <class Socket>
void closeOnExec(Socket &socket) {
  fcntl(socket.native_handle(), F_SETFD, FD_CLOEXEC);
}

awaitable<void> pause(std::chrono::milliseconds time) {
  asio::steady_timer timer(co_await asio::this_coro::executor, time);
  co_await timer.async_wait(use_awaitable);
}

// Reads and forgets what the client sends, until it ends the connection or the stream's time is up.
awaitable<void> discardInput(beast::tcp_stream &stream) {
  std::array<char, 4096> buffer;
  error_code error;
  while (!error) co_await stream.async_read_some(asio::buffer(buffer), asio::redirect_error(use_awaitable, error));
}

// Ends the sending side first: closing a socket with unread input makes the client lose what it has not read yet.
awaitable<void> endAfterInput(beast::tcp_stream &stream) {
  error_code ignored;
  stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
  stream.expires_after(kCloseTimeout);
  co_await discardInput(stream);
}

// The status that refuses a request which could not be read. Throws where it is the connection that failed or ended.
http::status refusalOf(const error_code &error) {
  if (error == http::error::header_limit || error == http::error::buffer_overflow)
    return http::status::request_header_fields_too_large;
  if (error == http::error::body_limit) return http::status::payload_too_large;
  const bool isEnd = error == http::error::end_of_stream || error == http::error::partial_message;
  const bool isHttp = error.category() == error_code(http::error::bad_method).category();
  if (isEnd || !isHttp) throw boost::system::system_error(error);
  return http::status::bad_request;
}

// 200 where the head of a request, as it was read, has no more fields than a request may have.
http::status statusOfHead(const error_code &error, const http::fields &fields) {
  if (error) return refusalOf(error);
  const bool isTooLong = std::distance(fields.begin(), fields.end()) > kMostFields;
  return isTooLong ? http::status::request_header_fields_too_large : http::status::ok;
}

std::string_view viewOf(beast::string_view text) {
  return {text.data(), text.size()};
}

// A request as the service sees it: parameters come in the query where a request has no body of its own.
Request requestOf(HttpRequest received) {
  const std::string target(viewOf(received.target()));
  const std::size_t question = std::min(target.find('?'), target.size());
  const std::string host(viewOf(received[http::field::host]));
  Request request;
  request.host = host.substr(0, host.find(':'));
  request.method = viewOf(received.method_string());
  request.path = target.substr(0, question);
  const bool hasQuery = received.method() == http::verb::get || received.method() == http::verb::head ||
                        received.method() == http::verb::options;
  request.form = hasQuery ? target.substr(std::min(question + 1, target.size())) : std::move(received.body());
  return request;
}

// One client of the service: TLS, and one request after the other until a side ends the connection. What fails in the
// connection is thrown, and so ends it.
class Client {
 public:
  Client(tcp::socket socket, asio::ssl::context &tls, Service &service)
      : stream_(std::move(socket), tls), service_(service) {}

  // `received` is what the client has sent already.
  awaitable<void> serve(asio::const_buffer received);

 private:
  using Parser = http::request_parser<http::string_body>;

  awaitable<bool> serveRequest();
  awaitable<http::status> read(Parser &parser);
  Answer answer(HttpRequest request);
  awaitable<bool> send(const Answer &answer, const HttpRequest &request);
  awaitable<void> write(HttpResponse response);
  awaitable<void> writeByteByByte(HttpResponse response, std::chrono::milliseconds time);
  awaitable<void> end();
  void reset();

  beast::tcp_stream &transport() { return stream_.next_layer(); }

  asio::ssl::stream<beast::tcp_stream> stream_;
  beast::flat_buffer buffer_{kLargestHead};
  Service &service_;
};

awaitable<void> Client::serve(asio::const_buffer received) {
  transport().expires_after(kClientTimeout);
  co_await stream_.async_handshake(asio::ssl::stream_base::server, received, use_awaitable);
  // Not "while (co_await ...)", which g++ 12 compiles into a crash.
  for (bool goesOn = true; goesOn;) goesOn = co_await serveRequest();
  if (transport().socket().is_open()) co_await end();
}

// False when this request is the connection's last.
awaitable<bool> Client::serveRequest() {
  Parser parser;
  parser.header_limit(kLargestHead);
  parser.body_limit(kLargestBody);
  const http::status status = co_await read(parser);
  if (status != http::status::ok) {
    HttpResponse refusal(status, kHttp11);
    refusal.keep_alive(false);
    refusal.prepare_payload();
    co_await write(std::move(refusal));
    co_return false;
  }
  const HttpRequest request = parser.release();
  co_return co_await send(answer(request), request);
}

// Reads a request within the limits; a status other than 200 refuses it.
awaitable<http::status> Client::read(Parser &parser) {
  error_code error;
  transport().expires_after(kClientTimeout);
  co_await http::async_read_header(stream_, buffer_, parser, asio::redirect_error(use_awaitable, error));
  const HttpRequest &head = parser.get();
  if (const http::status status = statusOfHead(error, head); status != http::status::ok) co_return status;
  if (viewOf(head[http::field::content_type]).starts_with("multipart/form-data")) {
    co_return http::status::unsupported_media_type;
  }
  if (!parser.is_done() && beast::iequals(head[http::field::expect], "100-continue")) {
    const http::response<http::empty_body> go(http::status::continue_, head.version());
    co_await http::async_write(stream_, go, use_awaitable);
  }
  co_await http::async_read(stream_, buffer_, parser, asio::redirect_error(use_awaitable, error));
  co_return statusOfHead(error, head);  // a chunked body may end in more fields
}

Answer Client::answer(HttpRequest request) try {
  return service_.answer(requestOf(std::move(request)));
} catch (const std::exception &error) {
  writeDiagnostic(error.what());
  return {Reply{500, "text/plain", {}, {}}, std::nullopt, 0};
}

// Sends the answer, or misbehaves as it says. False when the connection is to end.
awaitable<bool> Client::send(const Answer &answer, const HttpRequest &request) {
  const Reply &reply = answer.reply;
  HttpResponse response(static_cast<http::status>(reply.status), request.version(), reply.body);
  response.keep_alive(request.keep_alive());
  response.set(http::field::content_type, reply.contentType);
  if (!reply.location.empty()) response.set(http::field::location, reply.location);
  response.prepare_payload();
  if (request.method() == http::verb::head) response.body().clear();

  const std::chrono::milliseconds time(answer.milliseconds);
  // For the other kinds the service has already made the faulty reply.
  switch (answer.fault.value_or(FaultKind::kStatus)) {
    case FaultKind::kDelay:
      co_await pause(time);
      break;
    case FaultKind::kDrip:
      co_await writeByteByByte(std::move(response), time);
      co_return request.keep_alive();
    case FaultKind::kCut:
      response.body().resize(response.body().size() / 2);
      co_await write(std::move(response));
      co_return false;
    case FaultKind::kGarbage:
      transport().expires_after(kClientTimeout);
      co_await asio::async_write(stream_, asio::buffer(reply.body), use_awaitable);
      co_return false;
    case FaultKind::kSilence:
      transport().expires_never();
      co_await discardInput(transport());
      reset();
      co_return false;
    case FaultKind::kReset:
      reset();
      co_return false;
    case FaultKind::kStatus:
    case FaultKind::kBody:
    case FaultKind::kRedirect:
      break;
  }
  co_await write(std::move(response));
  co_return request.keep_alive();
}

awaitable<void> Client::write(HttpResponse response) {
  transport().expires_after(kClientTimeout);
  co_await http::async_write(stream_, response, use_awaitable);
}

awaitable<void> Client::writeByteByByte(HttpResponse response, std::chrono::milliseconds time) {
  http::response_serializer<http::string_body> serializer(response);
  serializer.limit(1);
  while (!serializer.is_done()) {
    co_await pause(time);
    transport().expires_after(kClientTimeout);
    co_await http::async_write_some(stream_, serializer, use_awaitable);
  }
}

// Ends TLS, then the connection.
awaitable<void> Client::end() {
  error_code ignored;
  transport().expires_after(kCloseTimeout);
  co_await stream_.async_shutdown(asio::redirect_error(use_awaitable, ignored));
  co_await endAfterInput(transport());
}

// Closes the connection so that the client sees it broken.
void Client::reset() {
  error_code ignored;
  transport().socket().set_option(tcp::socket::linger(true, 0), ignored);
  transport().close();
}

// ---- The CONNECT proxy ----

// 200 where the request asks for a tunnel to a host of the service.
http::status statusOfTunnel(const http::request<http::empty_body> &request) {
  constexpr std::string_view kHttpsPort = ":443";
  if (request.method() != http::verb::connect) return http::status::method_not_allowed;
  const std::string_view target = viewOf(request.target());
  const bool isServed = target.ends_with(kHttpsPort) &&
                        kindOfHost(target.substr(0, target.size() - kHttpsPort.size())) != HostKind::kNone;
  return isServed ? http::status::ok : http::status::bad_gateway;
}

// Serves a client of the proxy on the same connection, once it has asked for a host of the service.
awaitable<void> serveTunnel(tcp::socket socket, asio::ssl::context &tls, Service &service) {
  beast::tcp_stream stream(std::move(socket));
  beast::flat_buffer buffer;
  http::request_parser<http::empty_body> parser;
  parser.header_limit(kLargestHead);
  error_code error;
  stream.expires_after(kClientTimeout);
  co_await http::async_read_header(stream, buffer, parser, asio::redirect_error(use_awaitable, error));

  const http::status status = statusOfHead(error, parser.get());
  http::response<http::empty_body> response(status == http::status::ok ? statusOfTunnel(parser.get()) : status,
                                            kHttp11);
  const bool isAccepted = response.result() == http::status::ok;
  if (isAccepted) {
    response.reason("Connection established");
  } else {
    response.keep_alive(false);
    response.content_length(0);
  }
  co_await http::async_write(stream, response, use_awaitable);
  if (isAccepted) {
    Client client(stream.release_socket(), tls, service);
    co_await client.serve(buffer.data());
  } else {
    co_await endAfterInput(stream);
  }
}

awaitable<void> serveDirectly(tcp::socket socket, asio::ssl::context &tls, Service &service) {
  // TLS takes some 80 KB of memory: not before the client has sent something.
  beast::tcp_stream stream(std::move(socket));
  beast::flat_buffer buffer;
  stream.expires_after(kClientTimeout);
  buffer.commit(co_await stream.async_read_some(buffer.prepare(kFirstRead), use_awaitable));
  Client client(stream.release_socket(), tls, service);
  co_await client.serve(buffer.data());
}

// ---- Listening ----

tcp::acceptor listenOnLoopback(asio::io_context &context, int port) try {
  const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), static_cast<uint16_t>(port));
  tcp::acceptor acceptor(context, endpoint);
  closeOnExec(acceptor);
  return acceptor;
} catch (const boost::system::system_error &error) {
  throw std::runtime_error("cannot listen on port " + std::to_string(port) + ": " + error.code().message());
}

using Serve = awaitable<void> (*)(tcp::socket socket, asio::ssl::context &tls, Service &service);

// Accepts clients for as long as the acceptor lives. A client whose connection fails is dropped without a message.
awaitable<void> acceptClients(tcp::acceptor &acceptor, Serve serve, asio::ssl::context &tls, Service &service) {
  while (true) {
    error_code error;
    tcp::socket socket = co_await acceptor.async_accept(asio::redirect_error(use_awaitable, error));
    if (error) {
      // Usually the table of descriptors is full until a client leaves.
      co_await pause(kAcceptRetryDelay);
      continue;
    }
    closeOnExec(socket);
    socket.set_option(tcp::no_delay(true), error);
    try {
      asio::co_spawn(acceptor.get_executor(), serve(std::move(socket), tls, service), asio::detached);
    } catch (const std::bad_alloc &) {
      // This client is dropped; there may be memory for the next one.
    }
  }
}

}  // namespace

class Server::Network {
 public:
  Network(const Credentials &credentials, Service &service, int port)
      : https_(listenOnLoopback(context_, port)), proxy_(listenOnLoopback(context_, 0)) {
    if (SSL_CTX_use_certificate(tls_.native_handle(), credentials.certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(tls_.native_handle(), credentials.key.get()) != 1) {
      throw std::runtime_error("cannot set up TLS");
    }
    // Idle connections keep no buffers.
    SSL_CTX_set_mode(tls_.native_handle(), SSL_MODE_RELEASE_BUFFERS);
    asio::co_spawn(context_, acceptClients(https_, serveDirectly, tls_, service), asio::detached);
    asio::co_spawn(context_, acceptClients(proxy_, serveTunnel, tls_, service), asio::detached);
    thread_ = std::thread([this] { context_.run(); });
  }
  Network(const Network &) = delete;
  Network &operator=(const Network &) = delete;
  ~Network() {
    context_.stop();
    thread_.join();
  }

  Ports ports() const { return {https_.local_endpoint().port(), proxy_.local_endpoint().port()}; }

 private:
  asio::ssl::context tls_{asio::ssl::context::tls_server};
  // Its destructor also destroys the clients, whose coroutines wait in it.
  asio::io_context context_{1};
  tcp::acceptor https_;
  tcp::acceptor proxy_;
  std::thread thread_;
};

Server::Server(const Credentials &credentials, Service &service, int port)
    : network_(std::make_unique<Network>(credentials, service, port)) {}

Server::~Server() = default;

Ports Server::ports() const {
  return network_->ports();
}

}  // namespace kova::center
