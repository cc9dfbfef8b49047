#include "store/catalog/postgres/postgres_connection.h"

#include <array>
#include <cstdlib>
#include <sstream>

#include "platform/network.h"
#include "platform/platform.h"

namespace store {
namespace {

// The server's numbers of its types.
constexpr Oid kBool = 16;
constexpr Oid kBytes = 17;
constexpr Oid kInt8 = 20;
constexpr Oid kInt2 = 21;
constexpr Oid kInt4 = 23;
constexpr int kBinary = 1;

constexpr int kPollMilliseconds = 200;
// After this time, an interrupt ends the wait for an answer.
constexpr std::uint64_t kPatienceMilliseconds = 3000;

struct Clearer {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, Clearer>;

// ---- Values ----------------------------------------------------------------------------------------------

std::array<char, 8> BigEndian(std::int64_t number) {
  std::array<char, 8> bytes{};
  auto rest = static_cast<std::uint64_t>(number);
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) {
    *byte = static_cast<char>(rest & 0xff);
    rest >>= 8;
  }
  return bytes;
}

std::int64_t FromBigEndian(std::string_view bytes) {
  std::uint64_t number = !bytes.empty() && (bytes[0] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
  for (const char byte : bytes) {
    number = number << 8 | static_cast<unsigned char>(byte);
  }
  return static_cast<std::int64_t>(number);
}

class PostgresRow : public SqlRow {
 public:
  PostgresRow(const PGresult* result, int row) : result_(result), row_(row) {}
  [[nodiscard]] bool IsNull(int column) const override { return PQgetisnull(result_, row_, column) != 0; }
  [[nodiscard]] std::int64_t Number(int column) const override {
    const Oid type = PQftype(result_, column);
    if (type == kBool) {
      return !Bytes(column).empty() && Bytes(column)[0] != 0 ? 1 : 0;
    }
    return type == kInt8 || type == kInt4 || type == kInt2 ? FromBigEndian(Bytes(column)) : 0;
  }
  [[nodiscard]] std::string_view Bytes(int column) const override {
    return {PQgetvalue(result_, row_, column), static_cast<std::size_t>(PQgetlength(result_, row_, column))};
  }

 private:
  const PGresult* result_;
  int row_;
};

// The values of a statement, in the form that libpq takes.
class Parameters {
 public:
  explicit Parameters(const std::vector<SqlValue>& values) : numbers_(values.size()) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      const SqlValue& value = values[i];
      const bool number = value.What() == SqlValue::Kind::kNumber;
      numbers_[i] = BigEndian(value.Number());
      const std::string_view bytes =
          number ? std::string_view(numbers_[i].data(), numbers_[i].size()) : value.Bytes();
      // An empty text may have no address, and a null address would be no value at all.
      pointers.push_back(value.What() == SqlValue::Kind::kNull ? nullptr : bytes.empty() ? "" : bytes.data());
      lengths.push_back(static_cast<int>(bytes.size()));
      formats.push_back(kBinary);
    }
  }
  std::vector<const char*> pointers;
  std::vector<int> lengths;
  std::vector<int> formats;

 private:
  std::vector<std::array<char, 8>> numbers_;
};

Oid TypeOf(const SqlValue& value) {
  switch (value.What()) {
    case SqlValue::Kind::kNumber:
      return kInt8;
    case SqlValue::Kind::kBytes:
      return kBytes;
    case SqlValue::Kind::kNull:
      break;
  }
  return 0;  // the server finds it out
}

// ---- Words -----------------------------------------------------------------------------------------------

std::string FirstLine(const char* message) {
  std::string line = message == nullptr ? "" : message;
  line = line.substr(0, line.find('\n'));
  return line.empty() ? "the server said nothing" : line;
}

// The server may have several addresses, and each may have failed in its own way.
std::string WhyNotConnected(const char* message) {
  std::istringstream lines(message == nullptr ? "" : message);
  std::string why;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("connection to server")) {
      why += (why.empty() ? "" : "; ") + line;
    }
  }
  if (why.empty()) {
    return FirstLine(message);
  }
  return why.find("certificate") == std::string::npos
             ? why
             : why + " (sslrootcert=FILE in catalog names who may have signed the server's certificate)";
}

std::string StateOf(const PGresult* result) {
  const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  return state == nullptr ? "" : state;
}

// Somebody else changed the same at the same time, or made the same table. If two insert one key, the server
// may tell the second one that the key is there, although that one could not read it. When repeated, it can.
bool MeansConflict(const std::string& state) {
  return state == "40001" || state == "40P01" || state == "42P07" || state == "42P06" || state == "42710" ||
         state == "23505";
}

void IgnoreNotice(void* /*argument*/, const PGresult* /*notice*/) {}

}  // namespace

// ---- Opening ---------------------------------------------------------------------------------------------

Status PostgresConnection::Open(const PostgresOptions& options,
                                std::unique_ptr<PostgresConnection>& connection) {
  auto opened = std::make_unique<PostgresConnection>();
  if (Status connected = opened->Connect(options); !connected) {
    return connected;
  }
  if (Status ready = opened->SetUp(options.schema); !ready) {
    return ready;
  }
  connection = std::move(opened);
  return {};
}

Status PostgresConnection::Connect(const PostgresOptions& options) {
  // The address may change the settings in front of it; those behind it are ours.
  const std::array<std::pair<const char*, const char*>, 7> settings = {
      {{"connect_timeout", "30"},
       {"keepalives_idle", "30"},
       {"keepalives_interval", "10"},
       {"tcp_user_timeout", "60000"},
       {"dbname", options.url.c_str()},
       {"fallback_application_name", "korvo"},
       {"client_encoding", "UTF8"}}};
  std::vector<const char*> names;
  std::vector<const char*> values;
  for (const auto& [name, value] : settings) {
    names.push_back(name);
    values.push_back(value);
  }
  names.push_back(nullptr);
  values.push_back(nullptr);
  server_ = TellPostgres(options);
  connection_.reset(PQconnectdbParams(names.data(), values.data(), 1));
  if (connection_ == nullptr || PQstatus(connection_.get()) != CONNECTION_OK) {
    return Status::Failed("the catalog cannot be reached (" + server_ +
                          "): " + WhyNotConnected(PQerrorMessage(connection_.get())));
  }
  PQsetNoticeReceiver(connection_.get(), IgnoreNotice, nullptr);
  return {};
}

// Without statistics the server prefers to read whole tables, and small ones always. But a transaction that
// has read a whole table is in the way of all others. A commit has to be on the server's disk. A program that
// stops within a transaction, or is cut off, holds up all others until the server ends its transaction; that
// comes before the others give up. While one large file is saved, a connection may be idle for hours.
Status PostgresConnection::SetUp(const std::string& schema) {
  constexpr int kKnowsIdleSessions = 140000;
  const bool ends = PQserverVersion(connection_.get()) >= kKnowsIdleSessions;
  const std::string text = "SET search_path TO " + QuotedName(schema) +
                           (ends ? "; SET idle_session_timeout = 0" : "") + "; SET statement_timeout = 0" +
                           "; SET enable_seqscan = off; SET jit = off"
                           "; SET lock_timeout = '5min'; SET idle_in_transaction_session_timeout = '2min'"
                           "; SET SESSION CHARACTERISTICS AS TRANSACTION ISOLATION LEVEL READ COMMITTED"
                           "; SELECT set_config('synchronous_commit', 'on', false)"
                           " WHERE current_setting('synchronous_commit') = 'off'";
  const Result result(PQexec(connection_.get(), text.c_str()));
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
    return Failure(result.get(), "setting up the connection");
  }
  return PQenterPipelineMode(connection_.get()) == 1 ? Status() : Lose();
}

// ---- Sending ---------------------------------------------------------------------------------------------

Status PostgresConnection::Prepare(const std::string& text, const std::vector<SqlValue>& values,
                                   std::string& name) {
  std::vector<Oid> types;
  std::string key = text + '\0';
  for (const SqlValue& value : values) {
    types.push_back(TypeOf(value));
    key += static_cast<char>(types.back());
  }
  const auto [prepared, isNew] = prepared_.try_emplace(key);
  if (!isNew) {
    name = prepared->second;
    return {};
  }
  name = prepared->second = "s" + std::to_string(++names_);
  if (PQsendPrepare(connection_.get(), name.c_str(), text.c_str(), static_cast<int>(types.size()),
                    types.data()) != 1) {
    return Lose();
  }
  sent_.push_back({text, key, {}});
  return {};
}

Status PostgresConnection::Send(const std::string& text, const std::vector<SqlValue>& values,
                                SqlEngine::Row row) {
  if (!lost_) {
    return lost_;
  }
  std::string name;
  if (Status prepared = Prepare(text, values, name); !prepared) {
    return prepared;
  }
  const Parameters parameters(values);
  if (PQsendQueryPrepared(connection_.get(), name.c_str(), static_cast<int>(values.size()),
                          parameters.pointers.data(), parameters.lengths.data(), parameters.formats.data(),
                          kBinary) != 1) {
    return Lose();
  }
  sent_.push_back({text, "", std::move(row)});
  return {};
}

Status PostgresConnection::SendOnce(const std::string& text) {
  if (!lost_) {
    return lost_;
  }
  if (PQsendQueryParams(connection_.get(), text.c_str(), 0, nullptr, nullptr, nullptr, nullptr, kBinary) !=
      1) {
    return Lose();
  }
  sent_.push_back({text, "", {}});
  return {};
}

Status PostgresConnection::Run(const std::string& text, const std::vector<SqlValue>& values,
                               const SqlEngine::Row& row) {
  Status sent = Send(text, values, row);
  return sent ? Finish() : sent;
}

// ---- Answers ---------------------------------------------------------------------------------------------

Status PostgresConnection::Finish() {
  if (!lost_ || sent_.empty()) {
    return lost_;
  }
  if (PQpipelineSync(connection_.get()) != 1) {
    return Lose();
  }
  Status done;
  while (lost_ && !sent_.empty()) {
    Sent sent = std::move(sent_.front());
    sent_.pop_front();
    Status read = ReadAnswers(sent);
    done = done ? read : done;
  }
  if (lost_ && Wait()) {
    const Result end(PQgetResult(connection_.get()));
    if (PQresultStatus(end.get()) != PGRES_PIPELINE_SYNC) {
      return Lose();
    }
  }
  return lost_ ? done : lost_;
}

// Rows come one by one, however many they are.
Status PostgresConnection::ReadAnswers(Sent& sent) {
  if (sent.row) {
    PQsetSingleRowMode(connection_.get());
  }
  Status done;
  bool failed = false;
  while (true) {
    if (Status waited = Wait(); !waited) {
      return waited;
    }
    const Result result(PQgetResult(connection_.get()));
    if (result == nullptr) {
      break;
    }
    Status read = ReadAnswer(result.get(), sent, failed);
    if (done) {
      done = read;
    }
    // The remaining rows are not looked at.
    sent.row = done ? std::move(sent.row) : SqlEngine::Row();
    if (PQstatus(connection_.get()) != CONNECTION_OK) {
      return Lose();
    }
  }
  if (failed) {
    prepared_.erase(sent.prepares);
  }
  return done;
}

Status PostgresConnection::ReadAnswer(const PGresult* result, Sent& sent, bool& failed) {
  switch (PQresultStatus(result)) {
    case PGRES_COMMAND_OK:
    case PGRES_SINGLE_TUPLE:
    case PGRES_TUPLES_OK:
      break;
    case PGRES_PIPELINE_ABORTED:
      failed = true;
      return {};
    default:
      failed = true;
      return Failure(result, sent.text);
  }
  changed_ = std::atoll(PQcmdTuples(const_cast<PGresult*>(result)));
  tag_ = PQcmdStatus(const_cast<PGresult*>(result));
  for (int row = 0; sent.row && row < PQntuples(result); ++row) {
    if (Status handled = sent.row(PostgresRow(result, row)); !handled) {
      return handled;
    }
  }
  return {};
}

Status PostgresConnection::Wait() {
  PGconn* connection = connection_.get();
  const std::uint64_t began = platform::SteadyMilliseconds();
  while (PQisBusy(connection) != 0) {
    if (platform::WaitForInput(static_cast<std::uintptr_t>(PQsocket(connection)), kPollMilliseconds)) {
      if (PQconsumeInput(connection) != 1) {
        return Lose();
      }
    } else if (interruptible_ && platform::Interrupted() &&
               platform::SteadyMilliseconds() - began > kPatienceMilliseconds) {
      std::array<char, 256> why{};
      PGcancel* cancel = PQgetCancel(connection);
      PQcancel(cancel, why.data(), static_cast<int>(why.size()));
      PQfreeCancel(cancel);
      return Lose(Status::Interrupted());
    }
  }
  return {};
}

// ---- What went wrong -------------------------------------------------------------------------------------

Status PostgresConnection::Lose(Status why) {
  lost_ = lost_ ? std::move(why) : lost_;
  return lost_;
}

Status PostgresConnection::Lose() {
  return Lose(Status::Failed("the connection to the catalog (" + server_ +
                             ") was lost: " + FirstLine(PQerrorMessage(connection_.get()))));
}

Status PostgresConnection::Failure(const PGresult* result, const std::string& text) {
  const std::string state = StateOf(result);
  const std::string kind = state.substr(0, 2);
  const char* primary = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
  const std::string words = FirstLine(primary == nullptr ? PQresultErrorMessage(result) : primary);
  // The server says the reason before it closes the connection.
  if (PQstatus(connection_.get()) != CONNECTION_OK || kind == "08" || (kind == "57" && state != "57014")) {
    return Lose(Status::Failed("the connection to the catalog (" + server_ + ") was lost: " + words));
  }
  if (MeansConflict(state)) {
    return Status::Conflict("the catalog is busy: other programs changed the same at the same time (" +
                            words + ")");
  }
  // Also a table, a column or a file that is not there: they are the same in every catalog.
  if ((kind == "XX" && state != "XX000") || state == "42P01" || state == "42703" || state == "58P01") {
    return Status::Damaged("the catalog is damaged (" + words + "): make it anew with `korvo rebuild`");
  }
  if (state == "53100") {
    return Status::NoRoom("the catalog cannot be written: the disk of its server is full");
  }
  if (state == "25006") {
    return Status::Failed("the catalog cannot be written: its server lets it only be read (" + server_ + ")");
  }
  if (state == "42501") {
    return Status::Failed("the catalog cannot be used (" + server_ +
                          "): its database role may not: " + words);
  }
  if (state == "54000") {
    return Status::Failed("a name is too long for the database that has the catalog (" + words + ")");
  }
  if (state == "55P03") {
    return Status::Failed("the catalog is in use by another program: try again when that has ended");
  }
  if (state == "57014") {
    return Status::Failed("the catalog's server gave up: " + words);
  }
  return Status::Failed("the catalog cannot be used (" + server_ + "): " + words + ": " + text);
}

}  // namespace store
