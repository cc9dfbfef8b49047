// Gets the results of a restore.
#pragma once

#include <string>
#include <vector>

#include "store/pack/record.h"
#include "store/status.h"

class RestoreTeller {
 public:
  RestoreTeller() = default;
  RestoreTeller(const RestoreTeller&) = delete;
  RestoreTeller& operator=(const RestoreTeller&) = delete;
  virtual ~RestoreTeller() = default;

  // Items are in their places and on the disk. The reports are those that the caller gave for them.
  virtual void Done(const std::vector<std::string>& reports) = 0;
  // The same for one file, link or directory, with or without a report. Of a link or directory the item is
  // empty.
  virtual void Placed(const store::Item& item) = 0;
  // Something that is no failure.
  virtual void Note(const std::string& text) = 0;
  virtual void Failed(const std::string& place, const store::Status& why) = 0;
};
