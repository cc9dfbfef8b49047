// Takes files out of one saveset.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "store/container.h"
#include "store/repository.h"

namespace store {

class SavesetReader {
 public:
  explicit SavesetReader(Repository& repository) : repository_(repository) {}

  // Takes a saveset with an open restore job.
  Status Begin(const std::string& name);
  // The item that is asked for by this name, if the saveset holds it.
  Status Find(const std::string& asked, std::optional<Item>& item);
  // What lies in a directory (catalog.h tells).
  Status FindIn(const std::string& asked, std::string& directory, std::vector<Item>& items);
  // Writes the item's bytes into an empty file. When the status is good, they are all there and the very
  // ones that were saved.
  Status Copy(const Item& item, platform::DataFile& target);

 private:
  Repository& repository_;
  Saveset saveset_;
  std::unique_ptr<Container> container_;
  Digest digest_;
};

}  // namespace store
