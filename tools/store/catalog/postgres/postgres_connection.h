// One connection to a PostgreSQL server. Statements are sent without waiting for their answers (libpq's
// pipeline), and the answers are read together: many rows cost one round trip to the server.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/catalog/postgres/pq.h"
#include "store/catalog/postgres_engine.h"
#include "store/catalog/sql.h"

namespace store {

// A name, quoted for a statement.
[[nodiscard]] std::string QuotedName(const std::string& name);

class PostgresConnection {
 public:
  // Connects and sets up the connection: names are those of the schema. Nothing is made yet.
  static Status Open(const PostgresOptions& options, std::unique_ptr<PostgresConnection>& connection);

  // Sends a statement, and prepares it when it comes for the first time. `row` is called in `Finish`.
  Status Send(const std::string& text, const std::vector<SqlValue>& values, SqlEngine::Row row = {});
  // The same without preparing the statement.
  Status SendOnce(const std::string& text);
  // Waits for all answers. Returns the first failure; what was sent behind that was not carried out.
  Status Finish();
  Status Run(const std::string& text, const std::vector<SqlValue>& values, const SqlEngine::Row& row = {});

  // The number of statements whose answers have not been read.
  [[nodiscard]] std::size_t Waiting() const { return sent_.size(); }
  // Of the last statement: how many rows it changed, and its command tag from the server.
  [[nodiscard]] std::int64_t Changed() const { return changed_; }
  [[nodiscard]] const std::string& Tag() const { return tag_; }
  // Whether the connection can never be used again.
  [[nodiscard]] bool IsLost() const { return !lost_; }
  // To be switched off for a commit, whose answer is worth waiting for.
  void SetInterruptible(bool interruptible) { interruptible_ = interruptible; }

 private:
  struct Closer {
    void operator()(PGconn* connection) const { PQfinish(connection); }
  };
  struct Sent {
    std::string text;
    std::string prepares;  // the key in `prepared_`, if this prepares a statement
    SqlEngine::Row row;
  };

  Status Connect(const PostgresOptions& options);
  Status SetUp(const std::string& schema);
  Status Prepare(const std::string& text, const std::vector<SqlValue>& values, std::string& name);
  Status ReadAnswers(Sent& sent);
  Status ReadAnswer(const PGresult* result, Sent& sent, bool& failed);
  Status Wait();
  Status Lose(Status why);
  Status Lose();
  Status Failure(const PGresult* result, const std::string& text);

  std::unique_ptr<PGconn, Closer> connection_;
  std::string server_;
  std::unordered_map<std::string, std::string> prepared_;  // names of statements by their texts and types
  std::size_t names_ = 0;
  std::deque<Sent> sent_;
  std::int64_t changed_ = 0;
  std::string tag_;
  bool interruptible_ = true;
  Status lost_;
};

}  // namespace store
