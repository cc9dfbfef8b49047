// A way to a server that breaks as a test says: a proxy for HTTP on a loopback address, one request a
// connection.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace support {

class BrokenNetwork {
 public:
  enum class Fault {
    kNone,
    kDropRequest,     // the server never sees it
    kCutRequest,      // it sees half of it
    kCorruptRequest,  // one bit of what is sent is another
    kDropAnswer,      // it has been carried out, and nobody learns of it
    kCutAnswer,       // the answer ends in the middle
    kShortAnswer,     // the same, and it does not tell its length
    kHideHash,        // the answer does not tell the hash that was sent with the object
    kBusy,            // 503, and it is not carried out
    kFailed,          // 500, and it has been carried out
    kSilence          // no answer, and no end
  };

  // `endpoint` is the server's: http://127.0.0.1:port.
  explicit BrokenNetwork(const std::string& endpoint);
  BrokenNetwork(const BrokenNetwork&) = delete;
  BrokenNetwork& operator=(const BrokenNetwork&) = delete;
  ~BrokenNetwork();

  [[nodiscard]] std::string Endpoint() const;
  // What happens to requests from now on, which are counted from 0; it is called by several threads.
  using Plan = std::function<Fault(int number, const std::string& method)>;
  void Follow(Plan plan);
  // The methods of the requests since then: "PUT", "HEAD", ...
  std::vector<std::string> Methods();
  // The most that were under way at once.
  [[nodiscard]] int MostAtOnce() const { return mostAtOnce_; }

 private:
  void Listen();
  void Serve(int client);
  Fault Next(const std::string& method);
  void Carry(int client, std::string request, std::size_t head, Fault fault);

  int serverPort_ = 0;
  int port_ = 0;
  int listening_ = -1;
  std::mutex mutex_;
  Plan plan_;
  std::vector<std::string> methods_;
  std::atomic<bool> ending_ = false;
  std::atomic<int> atOnce_ = 0;
  std::atomic<int> mostAtOnce_ = 0;
  std::vector<std::thread> serving_;
  std::thread listener_;
};

}  // namespace support
