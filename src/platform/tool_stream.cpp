#include "platform/internal.h"

namespace platform {
namespace {

constexpr std::size_t kReadSize = 65536;

}  // namespace

ToolStream::~ToolStream() {
  internal::ForgetTool(tool_);
  if (handle_ >= 0) {
    internal::ClosePipe(handle_);
  }
}

void ToolStream::Watch(std::intptr_t process) { tool_ = internal::WatchTool(process, isMover_); }

int ToolStream::NextByte() {
  if (position_ == buffer_.size()) {
    if (handle_ < 0) {
      return -1;
    }
    buffer_.resize(kReadSize);
    buffer_.resize(internal::ReadPipe(handle_, buffer_.data(), buffer_.size(), tool_, readFailed_));
    position_ = 0;
    if (buffer_.empty()) {
      internal::ClosePipe(handle_);
      handle_ = -1;
      return -1;
    }
  }
  return static_cast<unsigned char>(buffer_[position_++]);
}

int ToolStream::NextCharacter() {
  const int c = NextByte();
  if (c != '\r' || isMover_) {
    return c;
  }
  const int next = NextByte();
  if (next == '\n') {
    return next;
  }
  if (next >= 0) {
    --position_;
  }
  return c;
}

bool ToolStream::ReadLine(std::string& line, std::size_t limit) {
  return internal::ReadTextLine([this] { return NextCharacter(); }, line, limit);
}

}  // namespace platform
