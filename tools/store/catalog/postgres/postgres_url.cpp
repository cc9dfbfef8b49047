#include <string_view>

#include "store/catalog/postgres/postgres_connection.h"
#include "store/catalog/postgres/pq.h"

namespace store {
namespace {

struct Freer {
  void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};
using Parsed = std::unique_ptr<PQconninfoOption, Freer>;

Parsed Parse(const std::string& url, std::string& why) {
  char* message = nullptr;
  Parsed parsed(PQconninfoParse(url.c_str(), &message));
  why = message == nullptr ? "" : message;
  PQfreemem(message);
  return parsed;
}

std::string ValueOf(const Parsed& parsed, std::string_view name) {
  for (const PQconninfoOption* option = parsed.get(); option != nullptr && option->keyword != nullptr;
       ++option) {
    if (option->keyword == name && option->val != nullptr) {
      return option->val;
    }
  }
  return "";
}

}  // namespace

std::string CheckPostgresUrl(const std::string& url, bool& hasPassword) {
  hasPassword = false;
  std::string expected = "postgresql://[USER@]HOST[:PORT]/DATABASE[?NAME=VALUE&...] is expected";
  if (!url.starts_with("postgresql://") && !url.starts_with("postgres://")) {
    return expected;
  }
  std::string why;
  const Parsed parsed = Parse(url, why);
  if (parsed == nullptr) {
    // The library's message may show the address, with a password in it.
    return expected + ": this is not how an address is written";
  }
  hasPassword = !ValueOf(parsed, "password").empty();
  return ValueOf(parsed, "dbname").empty() ? expected + ": the database is missing" : "";
}

std::string TellPostgres(const PostgresOptions& options) {
  std::string why;
  const Parsed parsed = Parse(options.url, why);
  const std::string host = ValueOf(parsed, "host");
  const std::string address = ValueOf(parsed, "hostaddr");
  const std::string port = ValueOf(parsed, "port");
  std::string server = host.empty() ? address : host;
  server = server.empty() ? "this host" : server;
  return "database " + ValueOf(parsed, "dbname") + " on " + server + (port.empty() ? "" : ":" + port) +
         ", schema " + options.schema;
}

std::string QuotedName(const std::string& name) {
  std::string quoted = "\"";
  for (const char letter : name) {
    quoted += letter == '"' ? "\"\"" : std::string(1, letter);
  }
  return quoted + '"';
}

}  // namespace store
