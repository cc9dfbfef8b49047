#include "backint/caller/item_sources.h"

#include "backint/base/input_lines.h"
#include "backint/base/run_records.h"
#include "backint/base/trace.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_util";

bool ReadItems(ItemList& items) {
  const auto file = platform::TextFile::Open(Params().szInFile, platform::TextFile::Mode::kRead);
  if (file == nullptr) {
    return false;
  }
  InputLines lines(*file);
  for (std::string line; lines.Next(line);) {
    items.Push(line);
  }
  return true;
}

}  // namespace

bool ReadInputItems(ItemList& items) {
  RunItems read{{}, true, true};
  read.readable = ReadItems(read.names);
  TraceReading(read);
  items.AppendAll(read.names);
  return read.readable;
}

RunItems HoldRunItems(const ItemList& names) {
  if (!Params().bLogsRun) {
    return {names, false, true};
  }
  RunItems items{{}, true, true};
  items.readable = ReadItems(items.names);
  return items;
}

void TraceReading(const RunItems& items) {
  TRACE(3, "Open input file: [%s].", Params().szInFile.c_str());
  if (!items.readable) {
    TRACE(1, "ERROR: Could not open input file: [%s].", Params().szInFile.c_str());
  }
  for (const std::string& name : items.names) {
    TRACE(3, "Push item: [%s]", name.c_str());
  }
}

bool NeedsListFile(const std::string& name) {
  return name.find_first_of(" \t\"") != std::string::npos || name.starts_with('-') || name.starts_with('@');
}
