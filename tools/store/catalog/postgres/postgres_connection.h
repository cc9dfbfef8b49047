// One connection to a PostgreSQL server. Statements are sent on without waiting for their answers (libpq's
// pipeline), which are read together: many rows cost one way to the server and back.
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

// A name as it stands in a statement.
[[nodiscard]] std::string QuotedName(const std::string& name);

class PostgresConnection {
 public:
  // Connected and set up: names are those of the schema, nothing is made yet.
  static Status Open(const PostgresOptions& options, std::unique_ptr<PostgresConnection>& connection);

  // Sends a statement, which is prepared when it comes for the first time. `row` is called in `Finish`.
  Status Send(const std::string& text, const std::vector<SqlValue>& values, SqlEngine::Row row = {});
  // The same without preparing it.
  Status SendOnce(const std::string& text);
  // Waits for all answers. The first failure counts; what was sent behind it was not carried out.
  Status Finish();
  Status Run(const std::string& text, const std::vector<SqlValue>& values, const SqlEngine::Row& row = {});

  // Statements whose answers nobody has read.
  [[nodiscard]] std::size_t Waiting() const { return sent_.size(); }
  // Of the last statement: rows that it changed, and what the server calls it.
  [[nodiscard]] std::int64_t Changed() const { return changed_; }
  [[nodiscard]] const std::string& Tag() const { return tag_; }
  // Nothing more can be done with it, ever.
  [[nodiscard]] bool IsLost() const { return !lost_; }
  // For a commit, whose answer is worth waiting for.
  void SetInterruptible(bool interruptible) { interruptible_ = interruptible; }

 private:
  struct Closer {
    void operator()(PGconn* connection) const { PQfinish(connection); }
  };
  struct Sent {
    std::string text;
    std::string prepares;  // the key in `prepared_`, of a statement that is being prepared
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
