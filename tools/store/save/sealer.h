// Turns a block into what is stored: compressed if that makes it smaller, encrypted, and with its checksum.
#pragma once

#include <zstd.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "store/keys/keys.h"
#include "store/pack/format.h"
#include "store/status.h"

namespace store {

// Which block it is.
struct BlockName {
  Uid repository;
  Uid pack;
  std::uint32_t number = 0;
  BlockKind kind = BlockKind::kData;
};

// For one thread: its memory is used again for the next block.
class Sealer {
 public:
  // `compression`: 0 (none) to 19.
  explicit Sealer(int compression);

  // `entry` gets everything that the tables keep. `stored` gets the bytes to store; it is empty if they are
  // those of the block as it is. `cipher` is null in a repository without encryption.
  Status Seal(const BlockName& name, const BlockCipher* cipher, std::string_view plain, BlockEntry& entry,
              std::string& stored);

 private:
  struct Releaser {
    void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
  };
  bool Compress(std::string_view plain, std::string& compressed);
  bool Shrinks(std::string_view plain);

  int compression_;
  std::unique_ptr<ZSTD_CCtx, Releaser> compressor_;
  std::unique_ptr<ZSTD_CCtx, Releaser> prober_;
  std::string compressed_;
  std::string sample_;
  std::string probe_;
};

}  // namespace store
