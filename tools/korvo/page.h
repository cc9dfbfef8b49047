// The HTML page of a report. It needs nothing from elsewhere: no script, font or picture.
#pragma once

#include <cstdint>
#include <string>

#include "korvo/facts.h"

namespace korvo {

struct PageRequest {
  std::string server;
  std::string repository;
  std::int64_t maxAge = 0;  // how old a newest good backup may be, in seconds
};

[[nodiscard]] std::string ReportPage(const PageRequest& request, const Facts& facts);

}  // namespace korvo
