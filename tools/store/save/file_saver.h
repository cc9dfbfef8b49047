// Reads one file after the other, and brings it through the workers into packs.
#pragma once

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

  // `item` has the name, and the facts at the start. It gets its map (or `tree` does), and everything else
  // that is found out by reading. `between` is called between pieces; its failure ends the saving. A problem
  // of the file alone is told in `saved.trouble`.
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
  std::vector<Piece*> free_;  // those of `pieces_` that are not in use
};

}  // namespace store
