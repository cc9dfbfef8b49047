// The facts as OpenMetrics 1.0 text (openmetrics.io). All families here are gauges.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "korvo/facts.h"

namespace korvo {

// With `maxAge` (seconds), one more family says which databases have no good backup of at most that age.
[[nodiscard]] std::string MetricsText(const std::string& server, const Facts& facts,
                                      const std::optional<std::int64_t>& maxAge);

}  // namespace korvo
