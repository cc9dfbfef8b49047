// Single requests to a store that speaks the S3 protocol; each is repeated until there is an answer that says
// something. libcurl sends and signs them. What it leaves to its user is done here: the hash of what is sent,
// and the order of a query.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "store/status.h"

namespace store {

struct S3Settings {
  std::string endpoint;  // http://host:port, or https://host:port
  std::string region;
  std::string bucket;
  bool pathStyle = true;  // the bucket is in the path, not in the host's name
  std::string accessKey;
  std::string secretKey;
  std::string caFile;  // certificates of the authorities to trust; empty: the system's

  int page = 1000;                // objects in one page of a list
  int tries = 8;                  // of one request, at most
  std::int64_t firstPause = 250;  // milliseconds before the second try; doubles from then on
  std::int64_t longestPause = 8000;
  std::int64_t connectTime = 10'000;  // milliseconds until there is a connection
  std::int64_t silence = 60;          // seconds without any traffic that end a try
};

// What is sent with a request; it may be read more than once.
class S3Body {
 public:
  S3Body() = default;
  S3Body(const S3Body&) = delete;
  S3Body& operator=(const S3Body&) = delete;
  virtual ~S3Body() = default;

  [[nodiscard]] virtual std::uint64_t Size() const = 0;
  // SHA-256, 64 hexadecimal digits.
  [[nodiscard]] virtual std::string Hash() const = 0;
  // Reads exactly `size` bytes, all of which it has. False if they cannot be read.
  virtual bool Read(std::uint64_t offset, char* bytes, std::size_t size) = 0;
};

struct S3Request {
  enum class Verb { kGet, kHead, kPut, kDelete };

  Verb verb = Verb::kGet;
  std::string key;                           // empty: the request is about the bucket
  std::map<std::string, std::string> query;  // sorted, as the signature needs it
  std::string range;                         // "0-99": the first hundred bytes
  std::vector<std::string> headers;          // "name: value"
  S3Body* body = nullptr;
  std::size_t mostBytes = 16 * 1024 * 1024;  // the most that a good answer may have
};

struct S3Answer {
  long status = 0;
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;

  [[nodiscard]] bool IsGood() const { return status >= 200 && status < 300; }
  [[nodiscard]] std::string Header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? "" : found->second;
  }
};

class S3Client {
 public:
  explicit S3Client(S3Settings settings);
  S3Client(const S3Client&) = delete;
  S3Client& operator=(const S3Client&) = delete;
  ~S3Client();

  [[nodiscard]] const S3Settings& Settings() const { return settings_; }

  // Called before a request is sent again that may have been carried out already. If it sets `done`, the
  // request is not sent again, and counts as answered well.
  using Look = std::function<Status(bool& done)>;
  // The status is good when there is an answer, whatever it says. Tried again are connections that fail or
  // break, answers that end too early, and answers that ask for it: status 408, 429, from 500 on all but 501,
  // 505 and 507, and codes that say the bytes did not come as they were sent. After an interrupt nothing is
  // tried again. Safe to call by several threads at once: each request in flight has a connection.
  Status Ask(const S3Request& request, S3Answer& answer, const Look& look = {});

 private:
  struct Handle;
  struct Transfer;
  struct Try {
    bool again = false;    // it may be tried again
    bool reached = false;  // the server may have carried it out
    std::string why;       // why there is no answer; else empty
  };

  Try Send(const S3Request& request, S3Answer& answer);
  Try Perform(Handle& handle, Transfer& transfer);
  void SetUp(Handle& handle, Transfer& transfer);
  void SetUpBody(Handle& handle, Transfer& transfer);
  [[nodiscard]] std::string Url(const S3Request& request) const;
  std::unique_ptr<Handle> TakeHandle();
  void GiveBack(std::unique_ptr<Handle> handle);

  S3Settings settings_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Handle>> idle_;  // with their open connections
};

// Whether the endpoint is this machine, by an address that leads nowhere else.
[[nodiscard]] bool IsLoopback(const std::string& endpoint);

// What the server said about a failure: "NoSuchBucket: The specified bucket does not exist (404)".
[[nodiscard]] std::string ServersWords(const S3Answer& answer);

}  // namespace store
