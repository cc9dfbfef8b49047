// Brings what a saveset holds into its places: file by file beside its target, several to the disk together,
// and only then reported.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "store/saveset_reader.h"
#include "xfr/replacement.h"

class Placer {
 public:
  // `replace`: whatever file or link stands in a place may go.
  Placer(store::SavesetReader& reader, bool replace) : reader_(reader), replace_(replace) {}

  // A file, now or with the next `Settle`. The reports are of the whole item; none for a part of one.
  void PutFile(const store::Item& item, const std::string& place, std::vector<std::string> reports);
  // At once; true if it is there.
  [[nodiscard]] bool PutLink(const store::Item& item, const std::string& place);
  // True if the directory is there. In the place of one that was saved, a link is no directory.
  // One that is not finished gets its facts later.
  enum class Links { kFollow, kRefuse };
  enum class Make { kFinished, kUnfinished };
  [[nodiscard]] bool PutDirectory(const std::string& place, Make make = Make::kFinished,
                                  Links links = Links::kFollow);
  // Every file is in its place and on the disk, and reported.
  void Settle();

  void Fail(const std::string& place, const store::Status& status);
  [[nodiscard]] int Failures() const { return failures_; }

 private:
  struct Waiting {
    std::string place;
    std::vector<std::string> reports;
    platform::FileFacts facts;
    std::unique_ptr<Replacement> file;
    store::Status status;
  };
  store::Status Copy(const store::Item& item, Waiting& waiting);
  void SyncDirectories();

  store::SavesetReader& reader_;
  bool replace_;
  std::vector<Waiting> waiting_;
  std::uint64_t waitingBytes_ = 0;
  int failures_ = 0;
};
