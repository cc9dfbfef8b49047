// Brings what a restore has written to the disk and into its place, many of them together: the files, then
// their names and directories.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "restore/replacement.h"
#include "store/load/work_queue.h"
#include "store/pack/record.h"
#include "store/status.h"

// A file, link or directory that is not settled yet.
struct Waiting {
  std::string place;
  std::string directory;             // its names have to be synchronised
  std::vector<std::string> reports;  // what the teller is told when it is there
  store::Item item;
  std::unique_ptr<Replacement> file;  // null for a directory or link
  bool inPlace = false;
  bool again = false;                          // there was too little room: it is tried once more
  bool closeNow = false;                       // closed once it is copied, before the synchronisation
  platform::FileSystem* fileSystem = nullptr;  // null unless it can be synchronised as a whole
  store::Status status;
};

// If overwriting a file in its place has failed, empties the file and says so in its status.
void EmptyIfInPlace(Waiting& waiting);

class Settler {
 public:
  // Up to so many are synchronised one by one: their file system may have far more to write than these.
  static constexpr std::size_t kFew = 16;

  Settler();

  // Afterwards everything whose status is good is in its place and on the disk. Otherwise its status tells
  // why not.
  void Settle(std::deque<Waiting>& group);

 private:
  void SyncFiles(std::deque<Waiting>& group);
  void TakePlaces(std::deque<Waiting>& group);
  void SyncDirectories(std::deque<Waiting>& group);
  void SyncTogether(std::deque<Waiting>& group);
  void SyncAlone(Waiting& waiting, std::map<std::string, std::string>& whyNot);

  std::set<std::string> chained_;  // directories that are on the disk with all above them
  // A file system that failed stays here: the system reports an error once, to whoever asks first, and the
  // next group may be the one that it hits.
  std::map<platform::FileSystem*, std::string> failed_;
  store::WorkQueue freers_;
};
