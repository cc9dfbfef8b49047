// A PostgreSQL server of the tests' own, from the system's package, for programs and connections of this
// host.
#pragma once

#include <memory>
#include <string>

#include "support/run_program.h"

namespace support {

class PostgresServer {
 public:
  // The one of this test program: started with the first call, ended with the program. Throws what went
  // wrong.
  static PostgresServer& OfThisProgram();

  PostgresServer();
  PostgresServer(const PostgresServer&) = delete;
  PostgresServer& operator=(const PostgresServer&) = delete;
  ~PostgresServer();

  // By which a catalog is named.
  [[nodiscard]] std::string Url() const { return UrlIn(Sockets()); }
  // The same if a socket of this name is in another directory.
  [[nodiscard]] static std::string UrlIn(const std::string& directory);
  [[nodiscard]] std::string Sockets() const { return directory_.Path(); }
  static constexpr const char* kSocket = ".s.PGSQL.5432";

  // As if the power had failed: connections end, what was not committed is gone.
  void Crash();
  void Start();

 private:
  [[nodiscard]] bool IsReady() const;

  TemporaryDirectory directory_;
  int process_ = 0;
};

}  // namespace support
