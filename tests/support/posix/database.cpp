#include "support/database.h"

namespace support {

std::string DatabaseUrl(const std::string& place) { return "postgresql://korvo@/postgres?host=" + place; }

}  // namespace support
