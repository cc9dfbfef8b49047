// Reads one file after the other through the workers into packs.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "platform/data_file.h"
#include "store/progress.h"
#include "store/save/base.h"
#include "store/save/map_builder.h"
#include "store/save/pack_filler.h"
#include "store/save/piece.h"
#include "store/save/saveset_writer.h"
#include "store/save/source_reader.h"
#include "store/save/workers.h"

namespace store {

class FileSaver {
 public:
  FileSaver(const Keys& keys, Workers& workers, PackFiller& filler, Progress& work);

  // `item` has the name, and the facts at the start; it gets its map (or `tree` does) and everything else
  // that is found out by reading. `between` is called between pieces; its bad status ends the saving. What is
  // wrong with the file alone is `saved.trouble`.
  Status Save(platform::DataFile& source, std::unique_ptr<Base> base, const std::function<Status()>& between,
              Item& item, MapTree& tree, Saved& saved);

 private:
  struct UnderWay {
    Piece* piece = nullptr;
    std::vector<Hole> holes;
  };
  class Way;

  Piece* FreePiece();

  const Keys& keys_;
  Workers& workers_;
  PackFiller& filler_;
  Progress& work_;
  std::vector<std::unique_ptr<Piece>> pieces_;
  std::vector<Piece*> free_;  // of them
};

}  // namespace store
