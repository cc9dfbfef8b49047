// The control tool's answer on standard output.
#pragma once

#include <memory>
#include <string>

#include "platform/platform.h"
#include "store/status.h"

class Reply {
 public:
  Reply() : out_(platform::TextFile::StandardOutput()) {}

  // A line `key=value`. The first one begins the answer as a good one; a long list is never kept in memory.
  void Add(const char* key, const std::string& value);
  // Ends the answer. What fails after a line has gone out is a line `message=`, by which the caller discards
  // the answer. False if something could not be written.
  bool End(const store::Status& served);
  // The same where nothing may be kept in memory any more: what was added and is not written yet is left out.
  static void Abandon(const char* reason);

 private:
  void Begin();
  void Write();

  std::unique_ptr<platform::TextFile> out_;
  std::string pending_;
  bool begun_ = false;
  bool written_ = true;
};
