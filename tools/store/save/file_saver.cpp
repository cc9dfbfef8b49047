#include "store/save/file_saver.h"

#include "backint/base/marker_name.h"
#include "platform/platform.h"
#include "store/names.h"

namespace store {
namespace {

bool IsMarker(const Item& item, std::string_view bytes) {
  return bytes == kMarkerName &&
         ItemKey(item.name) == ItemKey(std::string(ParentOf(item.name)) + "/" + kMarkerName);
}

// Whether the file goes on where its file system says that it ends.
bool GoesOn(platform::DataFile& source, std::uint64_t size) {
  char byte = 0;
  std::size_t got = 0;
  return source.ReadAt(size, &byte, 1, got) && got == 1;
}

void Compare(platform::DataFile& source, Item& item, Saved& saved) {
  platform::FileFacts now;
  const bool goesOn = GoesOn(source, item.facts.size);
  if (!source.Facts(now)) {
    saved.trouble = source.Why();
  } else if (now.size < item.facts.size) {
    saved.trouble = kBecameShorter;
  } else if (now.size == 0 && goesOn) {
    saved.trouble = "its file system tells no size, and it is not empty";
  }
  // Over a network a new size may come late.
  saved.grew = now.size > item.facts.size || goesOn;
  saved.changed = saved.grew || now.modified != item.facts.modified || now.changed != item.facts.changed;
  item.changed = saved.changed;
}

}  // namespace

// The pieces of one file that are on their way. The destructor waits until none is any more.
class FileSaver::Way {
 public:
  Way(FileSaver& saver, SourceReader& reader, std::uint32_t chunkSize)
      : saver_(saver), reader_(reader), chunkSize_(chunkSize) {}
  Way(const Way&) = delete;
  Way& operator=(const Way&) = delete;
  ~Way() {
    while (!pieces_.empty()) {
      Free(Oldest());
    }
  }

  [[nodiscard]] bool MayRead() const {
    return !reader_.AtEnd() && pieces_.size() < saver_.workers_.Count() + 2;
  }
  [[nodiscard]] bool IsEmpty() const { return pieces_.empty(); }

  bool Read(std::string& why) {
    pieces_.push_back({saver_.FreePiece(), {}});
    UnderWay& next = pieces_.back();
    if (!reader_.Read(chunkSize_, *next.piece, next.holes, why)) {
      return false;
    }
    if (!next.piece->IsHole()) {
      const bool alone = pieces_.size() == 1 && reader_.AtEnd();
      alone ? saver_.workers_.DoHere(*next.piece)
            : saver_.workers_.Start(*next.piece, Workers::Urgency::kUrgent);
    }
    return true;
    // The analyzer loses sight of the piece's owner in the queue.
  }  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)

  // Waits until its work is done.
  UnderWay Oldest() {
    UnderWay oldest = std::move(pieces_.front());
    pieces_.pop_front();
    saver_.workers_.WaitFor(*oldest.piece);
    return oldest;
  }

  void Free(const UnderWay& done) { saver_.free_.push_back(done.piece); }

 private:
  FileSaver& saver_;
  SourceReader& reader_;
  std::uint32_t chunkSize_;
  std::deque<UnderWay> pieces_;
};

FileSaver::FileSaver(const Keys& keys, Workers& workers, PackFiller& filler, Progress& work)
    : keys_(keys), workers_(workers), filler_(filler), work_(work) {}

Piece* FileSaver::FreePiece() {
  if (free_.empty()) {
    pieces_.push_back(std::make_unique<Piece>(keys_));
    return pieces_.back().get();
  }
  Piece* const piece = free_.back();
  free_.pop_back();
  return piece;
}

Status FileSaver::Save(platform::DataFile& source, std::unique_ptr<Base> base,
                       const std::function<Status()>& between, Item& item, MapTree& tree, Saved& saved) {
  const std::uint32_t chunkSize = base == nullptr ? ChunkSizeFor(item.facts.size) : base->ChunkSize();
  MapBuilder map(keys_, filler_, std::move(base), chunkSize);
  SourceReader reader(source, item.facts);
  Way way(*this, reader, chunkSize);
  while (!reader.AtEnd() || !way.IsEmpty()) {
    if (platform::Interrupted()) {
      return Status::Interrupted();
    }
    if (way.MayRead()) {
      if (!way.Read(saved.trouble)) {
        return {};
      }
      continue;
    }
    const UnderWay oldest = way.Oldest();
    item.marker = oldest.piece->Offset() == 0 ? IsMarker(item, oldest.piece->Bytes()) : item.marker;
    Status added = map.Add(*oldest.piece, oldest.holes);
    work_.AddBytes(oldest.piece->Bytes().size());
    way.Free(oldest);
    if (!added) {
      return added;
    }
    if (Status paced = between(); !paced) {
      return paced;
    }
  }
  Compare(source, item, saved);
  return saved.trouble.empty() ? map.Finish(item, tree) : Status();
}

}  // namespace store
