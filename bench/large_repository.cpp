// Adds many savesets without data to a repository that exists: the objects from which a rebuild makes the
// catalog, with their tables. Nothing is synchronised to the disk.
//
//   large_repository SERVER ITEMS SAVESETS PACKS
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "store/base/bytes.h"
#include "store/pack/pack_writer.h"
#include "store/save/sealer.h"
#include "store/saveset_objects.h"
#include "store/store.h"

namespace {

namespace fs = std::filesystem;
using store::Status;
using store::Uid;

constexpr std::int64_t kStored = 1'700'000'000;

void Check(const Status& status) {
  if (!status) {
    std::fprintf(stderr, "%s\n", status.Message().c_str());
    std::exit(EXIT_FAILURE);
  }
}

// A place that only takes objects. The system decides when they reach the disk.
class HastyPlace : public store::Place {
 public:
  explicit HastyPlace(fs::path directory) : directory_(std::move(directory)) {}

  [[nodiscard]] std::uint64_t BestObjectSize() const override { return 0; }
  Status Create(const std::string& name, std::unique_ptr<store::NewObject>& object) override {
    fs::create_directories((directory_ / name).parent_path());
    object = std::make_unique<Object>(directory_ / name);
    return {};
  }
  Status Get(const std::string&, std::uint64_t, std::size_t, std::string&) override { return Refuse(); }
  Status Size(const std::string&, std::optional<std::uint64_t>&) override { return Refuse(); }
  Status List(const std::string&, const Each&) override { return Refuse(); }
  Status Delete(const std::string&) override { return Refuse(); }
  Status HoldRun(const Uid&, std::unique_ptr<store::RunHold>&) override { return Refuse(); }
  Status IsRunGone(const Uid&, bool&) override { return Refuse(); }

 private:
  class Object : public store::NewObject {
   public:
    explicit Object(const fs::path& path) : file_(path, std::ios::binary) {}
    Status Append(std::string_view bytes) override {
      file_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
      return {};
    }
    Status Finish() override {
      file_.close();
      return file_ ? Status() : Status::Failed("an object cannot be written");
    }

   private:
    std::ofstream file_;
  };

  static Status Refuse() { return Status::Failed("this place only takes objects"); }

  fs::path directory_;
};

class Filler {
 public:
  Filler(store::Store& repository, HastyPlace& place) : repository_(repository), place_(place) {}

  // Every saveset has the same files. Every fifth file also needs the pack that was written before.
  void AddSaveset(std::uint64_t number, std::uint64_t packs, std::uint64_t itemsOfPack) {
    store::Saveset saveset;
    saveset.uid = Uid::Random();
    saveset.name = "LRG" + std::to_string(kStored + static_cast<std::int64_t>(number));
    saveset.database = "BEN";
    saveset.pool = "bench";
    saveset.created = kStored;
    const store::ObjectShelf shelf = {place_, repository_.Secrets(), repository_.Id()};
    Check(PutSavesetBegin(shelf, saveset));
    const auto items = static_cast<std::int64_t>(packs * itemsOfPack);
    Check(PutSavesetEnd(shelf, saveset.uid, store::Mover::kEndedClean, items, kStored));
    Check(PutSavesetClosed(shelf, saveset.uid, store::State::kGood, kStored));
    for (std::uint64_t i = 0; i < packs; ++i) {
      AddPack(saveset.uid, i * itemsOfPack, itemsOfPack);
    }
  }

 private:
  static store::Item File(std::uint64_t number) {
    store::Item item;
    item.number = number;
    item.name = "/oracle/BEN/sapdata" + std::to_string(number % 20) + "/undo_" + std::to_string(number) +
                "/undo.data" + std::to_string(number);
    item.facts.size = 10'000'000 + number;
    item.stored = kStored;
    return item;
  }

  void AddPack(const Uid& saveset, std::uint64_t first, std::uint64_t items) {
    const Uid pack = Uid::Random();
    std::unique_ptr<store::PackWriter> writer;
    Check(store::PackWriter::Create(place_, repository_.Secrets(), repository_.Id(), saveset, pack, writer));
    std::string records;
    for (std::uint64_t i = 0; i < items; ++i) {
      store::Item item = File(first + i + 1);
      item.packs = {pack};
      item.map = {pack, 7, 12345, 678};
      if (i % 5 == 0 && before_ != Uid()) {
        item.packs.push_back(before_);
      }
      records += store::Encoder().Text(EncodeRecord(item, repository_.Id(), saveset)).Take();
    }
    const store::BlockName name = {repository_.Id(), pack, 0, store::BlockKind::kRecords};
    store::BlockEntry entry;
    std::string stored;
    Check(sealer_.Seal(name, writer->Ciphers().meta.get(), records, entry, stored));
    Check(writer->Append(entry, stored.empty() ? std::string_view(records) : stored));
    Check(writer->End(static_cast<std::uint32_t>(items),
                      before_ == Uid() ? std::vector<Uid>() : std::vector<Uid>{before_}));
    Check(writer->Finish());
    before_ = pack;
  }

  store::Store& repository_;
  HastyPlace& place_;
  store::Sealer sealer_{3};
  Uid before_;
};

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  if (argc != 5) {
    std::fprintf(stderr, "usage: large_repository SERVER ITEMS SAVESETS PACKS\n");
    return 2;
  }
  const std::uint64_t items = std::strtoull(argv[2], nullptr, 10);
  const std::uint64_t savesets = std::strtoull(argv[3], nullptr, 10);
  const std::uint64_t packs = std::strtoull(argv[4], nullptr, 10);
  store::ServerConfig config;
  Check(ReadServerConfig(argv[1], config));
  std::unique_ptr<store::Store> repository;
  Check(store::Store::Open(config, store::Store::Access::kRead, repository));
  HastyPlace place(config.repository);
  Filler filler(*repository, place);
  for (std::uint64_t i = 1; i <= savesets; ++i) {
    filler.AddSaveset(i, packs / savesets, items / packs);
  }
  return EXIT_SUCCESS;
}
