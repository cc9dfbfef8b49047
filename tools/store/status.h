// How the parts of the store report: done, or a sentence for the person who has to mend it.
#pragma once

#include <string>
#include <utility>

namespace store {

class [[nodiscard]] Status {
 public:
  Status() = default;
  static Status Failed(std::string message) {
    Status status;
    status.message_ = std::move(message);
    return status;
  }

  explicit operator bool() const { return message_.empty(); }
  [[nodiscard]] const std::string& Message() const { return message_; }

 private:
  std::string message_;
};

// Why nothing new is begun once the process was interrupted.
inline constexpr const char* kToldToEnd = "this program was told to end";

}  // namespace store
