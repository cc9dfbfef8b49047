// Stands between a database's clients and its server, and cuts a connection when it is told to.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/run_program.h"

namespace store {

class SocketProxy {
 public:
  // Where the connection is cut: before what the client sends reaches the server, or when the server has
  // carried it out and its answer is on its way.
  enum class Where { kBefore, kBehind };

  explicit SocketProxy(std::string server);
  SocketProxy(const SocketProxy&) = delete;
  SocketProxy& operator=(const SocketProxy&) = delete;
  ~SocketProxy();

  // In which its socket lies.
  [[nodiscard]] std::string Directory() const { return directory_.Path(); }
  // Cuts once: at the n-th portion that a client sends from now on and that contains the text.
  void CutAt(int portion, Where where, const std::string& text = "");
  [[nodiscard]] bool HasCut() const { return portion_ < 0; }

 private:
  void Listen();
  void Pass(int client);
  bool IsCut(const std::string& bytes, Where& where);

  support::TemporaryDirectory directory_;
  std::string server_;
  int listening_ = -1;
  std::atomic<bool> ending_ = false;
  std::mutex mutex_;
  std::atomic<int> portion_ = 0;  // those to come before the cut; negative: no cut, or not any more
  bool armed_ = false;
  Where where_ = Where::kBefore;
  std::string text_;
  std::vector<std::thread> connections_;
  std::thread thread_;
};

}  // namespace store
