#include "backint/caller/item_sources.h"

#include "backint/base/input_lines.h"
#include "backint/base/trace.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_util";

}  // namespace

ItemReading ReadItems(const JobItems& items) {
  ItemReading reading{{}, items.listFile, ItemReading::End::kNotOpened};
  if (items.listFile.empty()) {
    return {items.names, "", ItemReading::End::kWhole};
  }
  const auto file = platform::TextFile::Open(items.listFile, platform::TextFile::Mode::kRead);
  if (file == nullptr) {
    return reading;
  }
  InputLines lines(*file);
  for (std::string name; lines.NextName(name);) {
    reading.names.Push(name);
  }
  if (lines.Failed()) {
    return {items.names, items.listFile, ItemReading::End::kFailed};
  }
  reading.end = ItemReading::End::kWhole;
  return reading;
}

void TraceReading(const ItemReading& reading) {
  if (reading.listFile.empty()) {
    return;
  }
  TRACE(3, "Open input file: [%s].", reading.listFile.c_str());
  if (reading.end == ItemReading::End::kNotOpened) {
    TRACE(1, "ERROR: Could not open input file: [%s].", reading.listFile.c_str());
  }
  if (reading.end == ItemReading::End::kFailed) {
    TRACE(1, "ERROR: Reading input file failed: %s.", reading.listFile.c_str());
  }
  const TraceBatch batch;
  for (const std::string& name : reading.names) {
    TRACE(3, "Push item: [%s]", name.c_str());
  }
}

ItemReading ReadItemsAloud(const JobItems& items) {
  ItemReading reading = ReadItems(items);
  TraceReading(reading);
  return reading;
}

bool NeedsListFile(const std::string& name) {
  return name.find_first_of(" \t\"") != std::string::npos || name.starts_with('-') || name.starts_with('@');
}
