#include "platform/internal.h"

namespace platform::internal {

bool LineReader::Read(const Source& source, std::string& line, std::size_t limit) {
  if (TakeWholeLine(line, limit)) {
    return true;
  }
  line.clear();
  bool cut = false;
  bool any = false;
  while (line.size() < limit) {
    const int c = Next(source);
    if (c < 0) {
      return any;
    }
    any = true;
    if (c == '\n') {
      line += '\n';
      return true;
    }
    cut = cut || c == '\0';
    if (!cut) {
      line += static_cast<char>(c);
    }
  }
  return true;
}

void LineReader::Forget() {
  piece_.clear();
  position_ = 0;
}

// The usual case: the whole line is in the piece.
bool LineReader::TakeWholeLine(std::string& line, std::size_t limit) {
  const std::size_t end = piece_.find('\n', position_);
  if (end == std::string::npos) {
    return false;
  }
  std::string_view text = std::string_view(piece_).substr(position_, end - position_);
  if (text.size() >= limit || text.find('\0') != std::string_view::npos) {
    return false;
  }
  text.remove_suffix(!keepsCarriageReturns_ && text.ends_with('\r') ? 1 : 0);
  line.assign(text).push_back('\n');
  position_ = end + 1;
  return true;
}

// The next byte, or -1 at the end.
int LineReader::Peek(const Source& source) {
  if (position_ == piece_.size()) {
    Forget();
    source(piece_);
  }
  return piece_.empty() ? -1 : static_cast<unsigned char>(piece_[position_]);
}

int LineReader::Next(const Source& source) {
  const int c = Peek(source);
  position_ += c < 0 ? 0 : 1;
  if (c != '\r' || keepsCarriageReturns_ || Peek(source) != '\n') {
    return c;
  }
  ++position_;
  return '\n';
}

}  // namespace platform::internal
