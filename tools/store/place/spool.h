// Gathers bytes before they are sent, with their hash: a few in memory, more in a temporary file, which is
// deleted with this object.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/data_file.h"
#include "store/base/nettle.h"
#include "store/place/s3_client.h"
#include "store/status.h"

namespace store {

class Spool : public S3Body {
 public:
  Spool();
  ~Spool() override;

  Status Append(std::string_view bytes);
  // No more bytes come: the hash is complete.
  void End();

  [[nodiscard]] std::uint64_t Size() const override { return size_; }
  [[nodiscard]] std::string Hash() const override { return hash_; }  // after `End`
  bool Read(std::uint64_t offset, char* bytes, std::size_t size) override;

 private:
  Status MakeFile();
  Status Write(std::string_view bytes);

  sha256_ctx hashing_ = {};
  std::string hash_;
  std::uint64_t size_ = 0;
  std::string memory_;  // all bytes, until there is a file
  std::string path_;
  std::unique_ptr<platform::DataFile> file_;
};

}  // namespace store
