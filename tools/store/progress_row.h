// A row of the catalog in which work that is no saving tells how far it has come: a courtesy, which never
// fails and never keeps the work waiting.
#pragma once

#include <memory>

#include "store/store.h"

namespace store {

class ProgressRow {
 public:
  // `tool`: `restore`, `verify` ... Without a saveset, about none in particular.
  ProgressRow(Store& store, std::string tool, const Saveset* saveset);
  ProgressRow(const ProgressRow&) = delete;
  ProgressRow& operator=(const ProgressRow&) = delete;
  // Takes the row away.
  ~ProgressRow();

  // By one thread. Over a connection of its own; after the first failure, or where the catalog cannot be
  // written, it does nothing.
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
