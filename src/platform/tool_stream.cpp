#include "platform/internal.h"

namespace platform {
ToolStream::~ToolStream() {
  internal::ForgetTool(tool_);
  if (handle_ >= 0) {
    internal::ClosePipe(handle_);
  }
}

void ToolStream::Watch(std::intptr_t process) { tool_ = internal::WatchTool(process, isMover_); }

void ToolStream::ReadPiece(std::string& piece) {
  if (handle_ < 0) {
    return;
  }
  piece.resize(internal::kPieceSize);
  piece.resize(internal::ReadPipe(handle_, piece.data(), piece.size(), tool_, readFailed_));
  if (piece.empty()) {
    internal::ClosePipe(handle_);
    handle_ = -1;
  }
}

bool ToolStream::ReadLine(std::string& line, std::size_t limit) {
  return lines_.Read([this](std::string& piece) { ReadPiece(piece); }, line, limit);
}

}  // namespace platform
