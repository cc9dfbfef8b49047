// Puts the contents of a saveset into their places. Files are written beside their targets, on all cores.
// Many of them are brought to the disk together, while the next ones are copied. Only then are they renamed
// and reported.
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
    bool replace = false;  // a file or link in the place may be replaced
    bool inPlace = false;  // a file may be overwritten in its place if there is no room for two
    std::string option;    // what the user gives to allow `replace`, such as `option -o over`
  };
  // The teller is called by the thread that calls the placer. It and the reader must outlive the placer.
  Placer(store::SavesetReader& reader, Rules rules, RestoreTeller& teller);
  Placer(const Placer&) = delete;
  Placer& operator=(const Placer&) = delete;
  ~Placer();

  // Where something goes. `root` is the place itself, or a directory on the way to it. Below `root`, a link
  // is followed only if `links` allows it and the link was there before.
  struct Target {
    std::string place;
    std::string root;
    Way::Links links = Way::Links::kFollow;
  };
  // The facts that the item gets there. What a system of the other kind saved as its mode means nothing here:
  // nobody but the user who restores gets access.
  static platform::FileFacts FactsAt(const store::Item& item, const std::string& place);

  // Restores a file, now or with the next `Settle`. The reports are of the whole item; a file that is part of
  // one has none.
  void PutFile(const store::Item& item, const Target& target, std::vector<std::string> reports);
  // Makes a link. True if it is there; it is on the disk and reported with the next `Settle`.
  [[nodiscard]] bool PutLink(const store::Item& item, const Target& target);
  // Makes the directory if it is missing. An unfinished one gets its facts later, and its reports are
  // ignored. The last component of the place is checked for links like those before it.
  enum class Make { kFinished, kUnfinished };
  [[nodiscard]] bool PutDirectory(const Target& target, Make make, std::vector<std::string> reports);
  // Sets the times, mode and owner of a directory.
  void SetFacts(const store::Item& directory, const Target& target);
  // When it returns, everything is in its place, on the disk and reported.
  void Settle();

  void Fail(const std::string& place, const store::Status& status);
  [[nodiscard]] int Failures() const { return failures_; }

 private:
  // The last directory that was checked and made, to put something into it.
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
  void TryAgain();

  store::SavesetReader& reader_;
  Rules rules_;
  RestoreTeller& teller_;
  Way way_;
  Parent parent_;
  std::map<std::uint64_t, std::unique_ptr<platform::FileSystem>> fileSystems_;  // by volume
  std::deque<Waiting> waiting_;                                                 // being copied, or copied
  std::uint64_t waitingBytes_ = 0;
  std::string roomy_;  // a directory with room for all small files that may wait
  int failures_ = 0;
  store::Pending copying_;
  store::WorkQueue workers_;
  Settler settler_;
  std::deque<Waiting> settling_;  // copied before `waiting_`, not reported yet
  store::Pending isSettling_;
  std::deque<Waiting> again_;  // had no room while others were not in their places
  store::WorkQueue beside_;
};
