// The control tool's answer on standard output.
#pragma once

#include <memory>
#include <string>

#include "platform/platform.h"
#include "store/status.h"

class Reply {
 public:
  Reply() : out_(platform::TextFile::StandardOutput()) {}

  // Adds a line `key=value`. The first one begins a good answer, `reply=OK`. The lines are written in
  // portions, so a long list is never kept in memory.
  void Add(const char* key, const std::string& value);
  // Ends the answer. A failure after a first line becomes a line `message=`, by which the caller discards the
  // answer. Any other failure is answered by `reply=ERROR` and its message. False if something could not be
  // written.
  bool End(const store::Status& served);
  // The same for a failure when no memory may be used any more. What was added and is not written yet is left
  // out.
  static void Abandon(const char* reason);

 private:
  void Begin();
  void Write();

  std::unique_ptr<platform::TextFile> out_;
  std::string pending_;
  bool begun_ = false;
  bool written_ = true;
};
