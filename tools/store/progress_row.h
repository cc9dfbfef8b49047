// A row of the catalog in which work other than saving tells how far it has come. It is a courtesy: it never
// fails, and never keeps the work waiting.
#pragma once

#include <memory>

#include "store/store.h"

namespace store {

class ProgressRow {
 public:
  // `tool`: `restore`, `verify` ... `saveset` is null if the work is about no single one.
  ProgressRow(Store& store, std::string tool, const Saveset* saveset);
  ProgressRow(const ProgressRow&) = delete;
  ProgressRow& operator=(const ProgressRow&) = delete;
  // Deletes the row.
  ~ProgressRow();

  // Writes the row, over a connection of its own. To be called by one thread only. After the first failure,
  // or where the catalog cannot be written, it does nothing.
  void Tell();

 private:
  [[nodiscard]] bool Begin();

  Store& store_;
  RunProgress run_;
  std::unique_ptr<Catalog> rows_;
  bool begun_ = false;
  bool failed_ = false;
};

}  // namespace store
