#include "store/load/file_copy.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/platform.h"

namespace store {
namespace {

// Files up to this size are copied by the thread that asks for them.
constexpr std::uint64_t kAloneUpTo = 2 * kBlockSize;
// A larger file has more than one chunk.
constexpr std::uint64_t kSmallestOfPieces = 8 * 1024;
// So much is still in the processor's cache when it is written: three tenths of the time depend on that.
constexpr std::size_t kRun = 256 * 1024;
constexpr std::uint64_t kWritebackStep = 16 * 1024 * 1024;

bool IsZero(std::string_view bytes) { return bytes.find_first_not_of('\0') == std::string_view::npos; }

// Calls `data` for the pieces of `offset` ... `end` that are in no hole, and `inHole` for those that are.
template <typename Data, typename InHole>
Status SplitAtHoles(std::uint64_t offset, std::uint64_t end, const std::vector<Hole>& holes, const Data& data,
                    const InHole& inHole) {
  auto hole = std::upper_bound(holes.begin(), holes.end(), offset,
                               [](std::uint64_t at, const Hole& one) { return at < one.offset + one.size; });
  while (offset < end) {
    const bool isHole = hole != holes.end() && hole->offset <= offset;
    std::uint64_t next = end;
    if (hole != holes.end()) {
      next = std::min(end, isHole ? hole->offset + hole->size : hole->offset);
    }
    if (Status done = isHole ? inHole(offset, next) : data(offset, next); !done) {
      return done;
    }
    hole += isHole ? 1 : 0;
    offset = next;
  }
  return {};
}

}  // namespace

Status FileCopy::Walk(const std::function<Status(FilePart&)>& each) {
  if (item_.facts.size != 0 && item_.map.size == 0) {
    return Status::Damaged("its record has no map");
  }
  MapWalk walk(item_, [this](const MapPlace& place, const Uid& id, std::string& bytes) {
    return FetchMap(place, id, bytes);
  });
  return walk.Run(each);
}

Status FileCopy::Run() {
  // A file that is written in one piece needs no size beforehand.
  const bool grown = target_ == nullptr                     ? true
                     : item_.facts.sparse                   ? target_->SetSize(item_.facts.size)
                     : item_.facts.size > kSmallestOfPieces ? target_->Extend(item_.facts.size)
                                                            : true;
  if (!grown) {
    return Status::Failed(target_->Why());
  }
  Status walked = Walk([this](FilePart& part) { return CopyPart(part); });
  pending_.Wait();
  // Its holes, and what was left out after a failure, count as done too.
  tools_.work.AddBytes(item_.facts.size - std::min<std::uint64_t>(written_, item_.facts.size));
  tools_.work.AddItems(1);
  const Status failure = Failure();
  return failure ? walked : failure;
}

Status FileCopy::Measure(std::uint64_t& bytes) {
  bytes = item_.facts.size;
  return Walk([&bytes](FilePart& part) {
    for (const Hole& hole : part.holes) {
      bytes -= hole.size;
    }
    return Status();
  });
}

Status FileCopy::CopyPart(FilePart& part) {
  const auto holes = std::make_shared<const std::vector<Hole>>(part.holes);
  for (FilePart::FromBlock& from : part.blocks) {
    if (Status failure = Failure(); !failure) {
      return failure;
    }
    if (platform::Interrupted()) {
      return Status::Interrupted();
    }
    if (item_.facts.size <= kAloneUpTo) {
      CopyBlock(from, *holes);
      continue;
    }
    pending_.Add();
    tools_.workers.Do([this, from = std::move(from), holes] {
      CopyBlock(from, *holes);
      pending_.Done();
    });
  }
  return WriteZeros(part);
}

void FileCopy::CopyBlock(const FilePart::FromBlock& from, const std::vector<Hole>& holes) {
  if (!Failure()) {
    return;
  }
  // Keeps the blocks that small files share, and those that two parts of a large one may share.
  const bool keep = from.edge || item_.facts.size <= kAloneUpTo;
  BlockCache::Block block;
  Status done = GetBlock(from.pack, from.block, keep, block);
  for (std::size_t begin = 0; done && begin < from.chunks.size();) {
    done = CopyRun(from, *block, holes, begin);
  }
  if (!done) {
    Fail(done);
  }
}

Status FileCopy::GetBlock(const Uid& pack, std::uint64_t number, bool keep, BlockCache::Block& block) {
  Status got = tools_.blocks.Get({pack, number}, keep, block);
  if (IsDamage(got)) {
    NoteBad(pack);
  }
  return got;
}

Status FileCopy::FetchMap(const MapPlace& place, const Uid& id, std::string& bytes) {
  BlockCache::Block block;
  if (Status got = GetBlock(place.pack, place.block, true, block); !got) {
    return got;
  }
  if (place.offset > block->size() || place.size > block->size() - place.offset) {
    return Bad(place.pack, place.block, "ends before the map of the item");
  }
  bytes.assign(*block, static_cast<std::size_t>(place.offset), static_cast<std::size_t>(place.size));
  return tools_.keys.IdOf(bytes) == id ? Status()
                                       : Bad(place.pack, place.block, "has another map than the item's");
}

Status FileCopy::Check(const FilePart::FromBlock& from, const WantedChunk& chunk, std::string_view block) {
  if (chunk.blockOffset > block.size() || chunk.size > block.size() - chunk.blockOffset) {
    return Bad(from.pack, from.block,
               "ends before the item's bytes from " + std::to_string(chunk.fileOffset) + " on");
  }
  return tools_.keys.IdOf(block.substr(chunk.blockOffset, chunk.size)) == chunk.id
             ? Status()
             : Bad(from.pack, from.block,
                   "has other bytes than the item's from " + std::to_string(chunk.fileOffset) + " on");
}

// Checks and writes chunks that follow each other in block and file, while they are in the processor's cache.
// `begin` gets the index of the next one.
Status FileCopy::CopyRun(const FilePart::FromBlock& from, std::string_view block,
                         const std::vector<Hole>& holes, std::size_t& begin) {
  const WantedChunk& first = from.chunks[begin];
  std::size_t size = 0;
  do {
    if (Status checked = Check(from, from.chunks[begin], block); !checked) {
      return checked;
    }
    size += from.chunks[begin].size;
    ++begin;
  } while (size < kRun && begin < from.chunks.size() &&
           from.chunks[begin].fileOffset == first.fileOffset + size &&
           from.chunks[begin].blockOffset == first.blockOffset + size);
  return WriteAround(first.fileOffset, block.substr(first.blockOffset, size), holes);
}

// A hole is left out only if its bytes really are zeros: the file may have changed while it was saved.
Status FileCopy::WriteAround(std::uint64_t offset, std::string_view bytes, const std::vector<Hole>& holes) {
  const auto part = [&](std::uint64_t from, std::uint64_t to) {
    return bytes.substr(static_cast<std::size_t>(from - offset), static_cast<std::size_t>(to - from));
  };
  return SplitAtHoles(
      offset, offset + bytes.size(), holes,
      [&](std::uint64_t from, std::uint64_t to) { return Write(from, part(from, to)); },
      [&](std::uint64_t from, std::uint64_t to) {
        return IsZero(part(from, to)) ? Status() : Write(from, part(from, to));
      });
}

// Writes the zeros that were in no hole, so that they take their room on the disk.
Status FileCopy::WriteZeros(const FilePart& part) {
  static constexpr std::array<char, 128 * 1024> kZeros{};
  for (const Hole& zeros : part.zeros) {
    Status written = SplitAtHoles(
        zeros.offset, zeros.offset + zeros.size, part.holes,
        [&](std::uint64_t from, std::uint64_t to) {
          Status done;
          for (; done && from < to; from += std::min<std::uint64_t>(to - from, kZeros.size())) {
            const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(to - from, kZeros.size()));
            done = Write(from, {kZeros.data(), size});
          }
          return done;
        },
        [](std::uint64_t, std::uint64_t) { return Status(); });
    if (!written) {
      return written;
    }
  }
  return {};
}

// What was written goes to the disk step by step, so that there is no long wait at the end.
Status FileCopy::Write(std::uint64_t offset, std::string_view bytes) {
  if (target_ == nullptr) {
    return {};
  }
  std::string why;
  if (!target_->WriteAt(offset, bytes.data(), bytes.size(), why)) {
    return OfSystem(why);
  }
  const std::uint64_t before = written_.fetch_add(bytes.size());
  tools_.work.AddBytes(bytes.size());
  if (before / kWritebackStep != (before + bytes.size()) / kWritebackStep) {
    target_->StartWriteback(0, 0);
  }
  return {};
}

Status FileCopy::Bad(const Uid& pack, std::uint64_t number, const std::string& what) {
  NoteBad(pack);
  PackCache::Pack opened;
  if (Status got = tools_.packs.Get(pack, opened); !got) {
    return got;
  }
  return opened->DamagedBlock(number, what);
}

void FileCopy::NoteBad(const Uid& pack) {
  const std::lock_guard lock(mutex_);
  if (badPack_.IsNull()) {
    badPack_ = pack;
  }
}

void FileCopy::Fail(Status status) {
  const std::lock_guard lock(mutex_);
  if (failure_) {
    failure_ = std::move(status);
  }
}

Status FileCopy::Failure() {
  const std::lock_guard lock(mutex_);
  return failure_;
}

}  // namespace store
