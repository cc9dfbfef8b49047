// Brings what a restore has written beside its places to the disk and into them: the files, their names, and
// the directories, many of them together.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "restore/replacement.h"
#include "store/pack/record.h"
#include "store/status.h"

// A file, link or directory on its way.
struct Waiting {
  std::string place;
  std::string directory;             // whose names have to be synchronised
  std::vector<std::string> reports;  // what the teller is told when it is there
  store::Item item;
  std::unique_ptr<Replacement> file;  // none of a directory or link
  bool inPlace = false;
  bool closeNow = false;                       // not kept open until its file system is synchronised
  platform::FileSystem* fileSystem = nullptr;  // that can be synchronised as a whole
  store::Status status;
};

// Where a file that was written over in its place went wrong, it is emptied, and its status says so.
void EmptyIfInPlace(Waiting& waiting);

class Settler {
 public:
  // So few are synchronised by themselves: their file system may have more to write than they.
  static constexpr std::size_t kFew = 16;

  // Everything whose status is good is in its place and on the disk afterwards, or its status tells why not.
  void Settle(std::deque<Waiting>& group);

 private:
  void SyncFiles(std::deque<Waiting>& group);
  static void TakePlaces(std::deque<Waiting>& group);
  void SyncDirectories(std::deque<Waiting>& group);
  void SyncTogether(std::deque<Waiting>& group);
  void SyncAlone(Waiting& waiting, std::map<std::string, std::string>& whyNot);

  std::set<std::string> chained_;  // directories of which all above are on the disk
  // For good: the system tells an error once, to whoever asks first, and the next group may be the one that
  // it hits.
  std::map<platform::FileSystem*, std::string> failed_;
};
