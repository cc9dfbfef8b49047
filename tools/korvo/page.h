// The page of a report: whole in itself, without script, font or picture from elsewhere.
#pragma once

#include <cstdint>
#include <string>

#include "korvo/facts.h"

namespace korvo {

struct PageRequest {
  std::string server;
  std::string repository;
  std::int64_t maxAge = 0;  // seconds that a newest good backup may be old
};

[[nodiscard]] std::string ReportPage(const PageRequest& request, const Facts& facts);

}  // namespace korvo
