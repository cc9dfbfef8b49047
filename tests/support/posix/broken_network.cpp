#include "support/broken_network.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

namespace support {
namespace {

constexpr std::string_view kEndOfHead = "\r\n\r\n";

sockaddr_in Loopback(int port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// False at the end, or when the test is over.
bool ReadMore(int connection, std::string& bytes, const std::atomic<bool>& ending) {
  pollfd waiting = {connection, POLLIN, 0};
  while (!ending && poll(&waiting, 1, 50) == 0) {
  }
  std::array<char, 65536> some = {};
  const ssize_t got = ending ? 0 : recv(connection, some.data(), some.size(), 0);
  bytes.append(some.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  return got > 0;
}

void SendAll(int connection, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

// Where the header of this name, in lower case, begins.
std::size_t FindHeader(const std::string& head, const std::string& name) {
  std::string lower(head);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  const std::size_t at = lower.find("\r\n" + name + ":");
  return at == std::string::npos ? at : at + 2;
}

std::size_t ContentLength(const std::string& head) {
  const std::size_t at = FindHeader(head, "content-length");
  return at == std::string::npos ? 0 : std::stoul(head.substr(at + 15));
}

void FlipABit(std::string& bytes, std::size_t head) {
  if (bytes.size() > head) {
    char& byte = bytes[head + (bytes.size() - head) / 2];
    byte = static_cast<char>(byte ^ 1);
  }
}

std::string AnswerOf(const std::string& status, const std::string& code) {
  const std::string body =
      "<?xml version='1.0'?><Error><Code>" + code + "</Code><Message>of the tests</Message></Error>";
  return "HTTP/1.1 " + status + "\r\nContent-Type: application/xml\r\nConnection: close\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

BrokenNetwork::BrokenNetwork(const std::string& endpoint)
    : serverPort_(std::stoi(endpoint.substr(endpoint.rfind(':') + 1))) {
  listening_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = Loopback(0);
  socklen_t size = sizeof address;
  if (bind(listening_, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listening_, 64) != 0 ||
      getsockname(listening_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    return;
  }
  port_ = ntohs(address.sin_port);
  listener_ = std::thread([this] { Listen(); });
}

BrokenNetwork::~BrokenNetwork() {
  ending_ = true;
  if (listener_.joinable()) {
    listener_.join();
  }
  for (std::thread& thread : serving_) {
    thread.join();
  }
  close(listening_);
}

std::string BrokenNetwork::Endpoint() const { return "http://127.0.0.1:" + std::to_string(port_); }

void BrokenNetwork::Follow(Plan plan) {
  const std::lock_guard lock(mutex_);
  plan_ = std::move(plan);
  methods_.clear();
}

std::vector<std::string> BrokenNetwork::Methods() {
  const std::lock_guard lock(mutex_);
  return methods_;
}

BrokenNetwork::Fault BrokenNetwork::Next(const std::string& method) {
  const std::lock_guard lock(mutex_);
  methods_.push_back(method);
  return plan_ ? plan_(static_cast<int>(methods_.size()) - 1, method) : Fault::kNone;
}

void BrokenNetwork::Listen() {
  pollfd waiting = {listening_, POLLIN, 0};
  while (!ending_) {
    if (poll(&waiting, 1, 50) <= 0) {
      continue;
    }
    const int client = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client >= 0) {
      serving_.emplace_back([this, client] {
        Serve(client);
        close(client);
      });
    }
  }
}

void BrokenNetwork::Serve(int client) {
  std::string request;
  std::size_t head = std::string::npos;
  while (head == std::string::npos) {
    if (!ReadMore(client, request, ending_)) {
      return;
    }
    head = request.find(kEndOfHead);
  }
  constexpr std::string_view kExpect = "Expect: 100-continue\r\n";
  if (const std::size_t expect = request.find(kExpect); expect < head) {
    request.erase(expect, kExpect.size());
    head -= kExpect.size();
    SendAll(client, "HTTP/1.1 100 Continue\r\n\r\n");
  }
  head += kEndOfHead.size();
  const int now = ++atOnce_;
  for (int most = mostAtOnce_; most < now && !mostAtOnce_.compare_exchange_weak(most, now);) {
  }
  const Fault fault = Next(request.substr(0, request.find(' ')));
  const std::size_t whole = head + ContentLength(request.substr(0, head));
  while (fault != Fault::kDropRequest && request.size() < whole && ReadMore(client, request, ending_)) {
  }
  if (fault == Fault::kBusy) {
    SendAll(client, AnswerOf("503 Slow Down", "SlowDown"));
  } else if (fault != Fault::kDropRequest) {
    Carry(client, std::move(request), head, fault);
  }
  --atOnce_;
}

void BrokenNetwork::Carry(int client, std::string request, std::size_t head, Fault fault) {
  if (fault == Fault::kCorruptRequest) {
    FlipABit(request, head);
  } else if (fault == Fault::kCutRequest) {
    request.resize(head + (request.size() - head) / 2);
  }
  request.insert(request.find("\r\n") + 2, "Connection: close\r\n");
  const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = Loopback(serverPort_);
  std::string answer;
  if (connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    SendAll(server, request);
    while (fault != Fault::kCutRequest && ReadMore(server, answer, ending_)) {
    }
  }
  close(server);
  const std::size_t answerHead = std::min(answer.find(kEndOfHead), answer.size() - kEndOfHead.size()) + 4;
  if (const std::size_t hash = FindHeader(answer.substr(0, answerHead), "x-amz-meta-sha256");
      fault == Fault::kHideHash && hash != std::string::npos) {
    answer[hash] = 'y';
  }
  if (const std::size_t length = FindHeader(answer.substr(0, answerHead), "content-length");
      fault == Fault::kShortAnswer && length != std::string::npos) {
    answer[length] = 'x';
  }
  if (fault == Fault::kCutAnswer || fault == Fault::kShortAnswer) {
    const std::size_t body = answer.size() - answerHead;
    answer.resize(body == 0 ? answerHead / 2 : answerHead + body / 2);
  } else if (fault == Fault::kFailed) {
    answer = AnswerOf("500 Internal Error", "InternalError");
  }
  for (std::string none; fault == Fault::kSilence && ReadMore(client, none, ending_);) {
  }
  if (fault != Fault::kDropAnswer && fault != Fault::kCutRequest && fault != Fault::kSilence) {
    SendAll(client, answer);
  }
}

}  // namespace support
