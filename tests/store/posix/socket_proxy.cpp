#include "store/posix/socket_proxy.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <stdexcept>

#include "support/database.h"

namespace store {
namespace {

constexpr int kPollMilliseconds = 20;

sockaddr_un Address(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  return address;
}

int Connect(const std::string& path) {
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = Address(path);
  if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(socket);
    return -1;
  }
  return socket;
}

// Empty at the end of the connection.
std::string ReadSome(int socket) {
  std::array<char, 65536> bytes{};
  const ssize_t size = read(socket, bytes.data(), bytes.size());
  return {bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

bool WriteAll(int socket, const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t size = send(socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (size <= 0) {
      return false;
    }
    done += static_cast<std::size_t>(size);
  }
  return true;
}

}  // namespace

SocketProxy::SocketProxy(std::string server) : server_(std::move(server)) {
  listening_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = Address(directory_.File(support::kDatabaseSocket));
  if (bind(listening_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listening_, 50) != 0) {
    throw std::runtime_error("the proxy cannot listen");
  }
  thread_ = std::thread([this] { Listen(); });
}

SocketProxy::~SocketProxy() {
  ending_ = true;
  thread_.join();
  for (std::thread& connection : connections_) {
    connection.join();
  }
  close(listening_);
}

void SocketProxy::CutAt(int portion, Where where, const std::string& text) {
  const std::lock_guard lock(mutex_);
  portion_ = portion;
  where_ = where;
  text_ = text;
  armed_ = true;
}

void SocketProxy::Listen() {
  while (!ending_) {
    pollfd waited = {listening_, POLLIN, 0};
    if (poll(&waited, 1, kPollMilliseconds) > 0) {
      const int client = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
      connections_.emplace_back([this, client] { Pass(client); });
    }
  }
}

bool SocketProxy::IsCut(const std::string& bytes, Where& where) {
  const std::lock_guard lock(mutex_);
  if (!armed_ || bytes.find(text_) == std::string::npos || portion_-- > 0) {
    return false;
  }
  armed_ = false;
  where = where_;
  return true;
}

void SocketProxy::Pass(int client) {
  const int server = Connect(server_);
  bool open = server >= 0;
  while (open && !ending_) {
    std::array<pollfd, 2> waited = {{{client, POLLIN, 0}, {server, POLLIN, 0}}};
    if (poll(waited.data(), waited.size(), kPollMilliseconds) <= 0) {
      continue;
    }
    if (waited[1].revents != 0) {
      const std::string bytes = ReadSome(server);
      open = !bytes.empty() && WriteAll(client, bytes);
    } else {
      const std::string bytes = ReadSome(client);
      Where where = Where::kBefore;
      const bool cut = IsCut(bytes, where);
      open = !bytes.empty() && !cut;
      if (!cut || where == Where::kBehind) {
        WriteAll(server, bytes);
      }
      if (cut && where == Where::kBehind) {
        ReadSome(server);
      }
    }
  }
  close(client);
  if (server >= 0) {
    close(server);
  }
}

}  // namespace store
