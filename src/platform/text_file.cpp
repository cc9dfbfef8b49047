#include <utility>

#include "platform/internal.h"

namespace platform {
namespace {

constexpr std::size_t kBufferSize = 65536;

bool WritesCarriageReturns(TextFile::LineEnd lineEnd) {
  return lineEnd == TextFile::LineEnd::kCarriageReturnLineFeed ||
         (lineEnd == TextFile::LineEnd::kSystem && internal::SystemEndsLinesInCarriageReturn());
}

}  // namespace

TextFile::TextFile(std::FILE* stream, bool owned, LineEnd lineEnd)
    : stream_(stream), owned_(owned), carriageReturns_(WritesCarriageReturns(lineEnd)) {}

TextFile::~TextFile() { Close(); }

std::unique_ptr<TextFile> TextFile::Open(const std::string& path, Mode mode, LineEnd lineEnd) {
  // Before the file is opened: if memory runs out, no file is left of which nobody knows.
  auto file = std::make_unique<TextFile>(nullptr, true, lineEnd);
  std::FILE* stream = internal::OpenStream(internal::SystemPath(path), mode);
  if (stream == nullptr) {
    return nullptr;
  }
  file->stream_ = stream;
  if (mode != Mode::kRead) {
    // The stream keeps nothing back. So what could not be written is not tried again later, unnoticed.
    std::setvbuf(stream, nullptr, _IONBF, 0);
    file->appends_ = mode == Mode::kAppend && internal::IsRegularFile(stream);
  }
  return file;
}

std::unique_ptr<TextFile> TextFile::CreateTemporary(const std::string& directory, std::string& path) {
  auto file = std::make_unique<TextFile>(nullptr, true, LineEnd::kSystem);
  file->stream_ = internal::OpenTemporaryStream(directory, path);
  if (file->stream_ == nullptr) {
    return nullptr;
  }
  std::setvbuf(file->stream_, nullptr, _IONBF, 0);
  return file;
}

std::unique_ptr<TextFile> TextFile::StandardInput() {
  auto file = std::make_unique<TextFile>(stdin, false, LineEnd::kSystem);
  if (internal::IsRegularFile(stdin)) {
    file->firstLine_ = std::ftell(stdin);
  }
  return file;
}

std::unique_ptr<TextFile> TextFile::StandardOutput() {
  return std::make_unique<TextFile>(stdout, false, LineEnd::kSystem);
}

std::unique_ptr<TextFile> TextFile::StandardError() {
  return std::make_unique<TextFile>(stderr, false, LineEnd::kSystem);
}

bool TextFile::ReadLine(std::string& line, std::size_t limit) {
  if (stream_ == nullptr || readFailed_) {
    return false;
  }
  const auto readPiece = [this](std::string& piece) {
    if (std::ferror(stream_) == 0) {
      piece.resize(internal::kPieceSize);
      piece.resize(std::fread(piece.data(), 1, piece.size(), stream_));
    }
    readFailed_ = piece.empty() && std::ferror(stream_) != 0;
  };
  return lines_.Read(readPiece, line, limit) && !readFailed_;
}

bool TextFile::ReadFailed() const { return readFailed_; }

bool TextFile::Rewind() {
  if (stream_ == nullptr || !internal::IsRegularFile(stream_)) {
    return false;
  }
  std::clearerr(stream_);
  lines_.Forget();
  readFailed_ = false;
  return std::fseek(stream_, firstLine_, SEEK_SET) == 0;
}

bool TextFile::Write(std::string_view text) {
  if (stream_ == nullptr) {
    return false;
  }
  // All or nothing: if memory ran out in the middle, closing the file would write a part of a line.
  if (carriageReturns_) {
    pending_.reserve(pending_.size() + 2 * text.size());
    for (const char c : text) {
      pending_ += c == '\n' ? "\r\n" : std::string_view(&c, 1);
    }
  } else {
    pending_ += text;
  }
  if (pending_.size() >= kBufferSize || !owned_) {
    HandOver();
  }
  return !failed_;
}

void TextFile::HandOver() {
  if (pending_.empty()) {
    return;
  }
  const std::string text = std::exchange(pending_, {});
  if (failed_) {
    return;
  }
  std::string why;
  failed_ = appends_ ? !internal::AppendUnderLock(internal::LockableFile(stream_), text, why,
                                                  keepsLock_ ? &kept_ : nullptr)
                     : !internal::WriteStream(stream_, text);
}

bool TextFile::Flush() {
  if (stream_ == nullptr) {
    return false;
  }
  HandOver();
  failed_ = std::fflush(stream_) != 0 || failed_;
  return !failed_;
}

bool TextFile::Close() {
  if (stream_ == nullptr) {
    return !failed_;
  }
  HandOver();
  if (owned_) {
    failed_ = std::fclose(stream_) != 0 || failed_;
  } else {
    failed_ = std::fflush(stream_) != 0 || failed_;
  }
  stream_ = nullptr;
  return !failed_;
}

}  // namespace platform
