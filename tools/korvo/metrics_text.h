// Facts in the text format of OpenMetrics 1.0 (openmetrics.io), in which all families here are gauges.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "korvo/facts.h"

namespace korvo {

// With `maxAge` (seconds) there is a family that says which databases have no backup that is younger.
[[nodiscard]] std::string MetricsText(const std::string& server, const Facts& facts,
                                      const std::optional<std::int64_t>& maxAge);

}  // namespace korvo
