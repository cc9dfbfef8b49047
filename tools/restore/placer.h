// Brings what a saveset contains into its places: files beside their targets, on all cores, many of them to
// the disk together while the next are copied, and only then renamed and reported.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "restore/settler.h"
#include "restore/teller.h"
#include "restore/way.h"
#include "store/load/saveset_reader.h"
#include "store/load/work_queue.h"

class Placer {
 public:
  struct Rules {
    bool replace = false;  // whatever file or link stands in a place may go
    bool inPlace = false;  // a file may be written over where there is no room for two
    std::string option;    // by which the first is allowed, as `option -o over`
  };
  // The teller is told by the thread that calls the placer, and must outlive it, as the reader must.
  Placer(store::SavesetReader& reader, Rules rules, RestoreTeller& teller);
  Placer(const Placer&) = delete;
  Placer& operator=(const Placer&) = delete;
  ~Placer();

  // Where something goes: its place, and the directory on the way to it below which no link is followed,
  // unless it was there before.
  struct Target {
    std::string place;
    std::string root;
    Way::Links links = Way::Links::kFollow;
  };
  // A file, now or with the next `Settle`. The reports are of the whole item; none for a part of one.
  void PutFile(const store::Item& item, const Target& target, std::vector<std::string> reports);
  // True if it is there; reported, and on the disk, with the next `Settle`.
  [[nodiscard]] bool PutLink(const store::Item& item, const Target& target);
  // One that is not finished gets its facts later. The last component of the target is looked at as those
  // before.
  enum class Make { kFinished, kUnfinished };
  [[nodiscard]] bool PutDirectory(const Target& target, Make make, std::vector<std::string> reports);
  void SetFacts(const store::Item& directory, const Target& target);
  // Everything is in its place and on the disk, and reported.
  void Settle();

  void Fail(const std::string& place, const store::Status& status);
  [[nodiscard]] int Failures() const { return failures_; }

 private:
  // The directory in which something is put, checked and made.
  struct Parent {
    std::string path;
    std::string root;
    Way::Links links = Way::Links::kFollow;
    platform::FileSystem* fileSystem = nullptr;
  };
  store::Status Enter(const Target& target, const std::string& directory);
  platform::FileSystem* FileSystemOf(const std::string& directory);
  store::Status Prepare(const Target& target, Waiting& waiting);
  bool HasPlentyOfRoom(const std::string& directory);
  store::Status CheckRoomFor(Waiting& waiting);
  store::Status MakeLinkAt(const store::Item& item, const std::string& place);
  store::Status MakeDirectoryAt(const Target& target, Make make);
  void Copy(Waiting& waiting);
  store::Status Fill(Waiting& waiting);
  void Add(Waiting waiting);
  void SettleIfFull();
  void SettleBeside();
  void TakeNext();
  void Report();

  store::SavesetReader& reader_;
  Rules rules_;
  RestoreTeller& teller_;
  Way way_;
  Parent parent_;
  std::map<std::uint64_t, std::unique_ptr<platform::FileSystem>> fileSystems_;  // by volume
  std::deque<Waiting> waiting_;                                                 // being copied, or copied
  std::uint64_t waitingBytes_ = 0;
  std::string roomy_;  // a directory that had room for more than what may wait
  int failures_ = 0;
  store::Pending copying_;
  store::WorkQueue workers_;
  Settler settler_;
  std::deque<Waiting> settling_;  // copied before those, not reported yet
  store::Pending isSettling_;
  store::WorkQueue beside_;
};
