#include "support/database.h"

#include "platform/data_file.h"
#include "support/script_server.h"

namespace support {

std::string DatabaseSockets() {
  static const std::string sockets = SharedServer("KORVO_TEST_DATABASE", "database.sh");
  return sockets;
}

std::string DatabaseUrl(const std::string& sockets) { return "postgresql://korvo@/postgres?host=" + sockets; }

std::string FreshSchema() { return "test_" + platform::RandomName(); }

std::string DatabaseSettings() {
  return "catalog = " + DatabaseUrl(DatabaseSockets()) + "\ncatalog_schema = " + FreshSchema() + "\n";
}

}  // namespace support
