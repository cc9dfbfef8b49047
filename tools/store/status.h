// How the parts of the store report: success, or a sentence for the person who has to mend something.
#pragma once

#include <string>
#include <utility>

namespace store {

class [[nodiscard]] Status {
 public:
  // The kind of failure, for code that has to act on it; the sentence is for people.
  enum class Kind {
    kGood,
    kFailed,       // anything else
    kDamaged,      // the bytes that are there are not those that were written
    kMissing,      // an object or file that must be there is not there
    kNoRoom,       // the disk, or a quota, is full
    kConflict,     // somebody else was first: look again and repeat
    kInterrupted,  // the process was told to end
  };

  Status() = default;
  static Status Failed(std::string message) { return Status(Kind::kFailed, std::move(message)); }
  static Status Damaged(std::string message) { return Status(Kind::kDamaged, std::move(message)); }
  static Status Missing(std::string message) { return Status(Kind::kMissing, std::move(message)); }
  static Status NoRoom(std::string message) { return Status(Kind::kNoRoom, std::move(message)); }
  static Status Conflict(std::string message) { return Status(Kind::kConflict, std::move(message)); }
  static Status Interrupted();

  explicit operator bool() const { return kind_ == Kind::kGood; }
  [[nodiscard]] Kind What() const { return kind_; }
  [[nodiscard]] const std::string& Message() const { return message_; }
  // The same failure; its sentence begins with what was being done.
  [[nodiscard]] Status Within(const std::string& what) const {
    return *this ? *this : Status(kind_, what + ": " + message_);
  }

 private:
  Status(Kind kind, std::string message) : kind_(kind), message_(std::move(message)) {}

  Kind kind_ = Kind::kGood;
  std::string message_;
};

// Why nothing new is begun after an interrupt of the process.
inline constexpr const char* kToldToEnd = "this program was told to end";

inline Status Status::Interrupted() { return Status(Kind::kInterrupted, kToldToEnd); }

// Something that was stored is lost. A program that looks through a repository reports that and goes on. Any
// other failure may come from the attempt to read, and ends the look.
[[nodiscard]] inline bool IsDamage(const Status& status) {
  return status.What() == Status::Kind::kDamaged || status.What() == Status::Kind::kMissing;
}

// For an attempt whose failure does not matter.
inline void Ignore(const Status& /*status*/) {}

// The failure of an operation of data_file.h that gave this reason: kNoRoom if it means that, otherwise
// kFailed.
Status OfSystem(const std::string& why);

}  // namespace store
