// A catalog in a schema of a database.
#include "store/catalog/postgres_engine.h"
#include "store/catalog/schema.h"
#include "store/catalog_homes.h"
#include "store/repository_place.h"

namespace store {
namespace {

class DatabaseHome : public CatalogHome {
 public:
  explicit DatabaseHome(const ServerConfig& config)
      : options_{config.database, config.catalogSchema, MakeCatalog::kNever}, file_(CatalogPath(config)) {}

  Status Connect(MakeCatalog make, std::unique_ptr<SqlEngine>& engine) override {
    return OpenPostgres({options_.url, options_.schema, make}, engine);
  }
  Status ConnectOld(std::unique_ptr<SqlEngine>& engine) override;
  void KeepRoom() override {}
  bool GiveRoom() override { return false; }
  Status BeginNew(const Uid& repository, std::unique_ptr<SqlEngine>& engine) override;
  Status EndNew(std::string& aside) override;
  // The schema stays: the next rebuild begins by deleting it.
  void DropNew() override {}

 private:
  [[nodiscard]] std::string NewSchema() const { return options_.schema + "_new"; }
  static Status DropOld(const PostgresOptions& anew, const Uid& repository);

  PostgresOptions options_;
  std::string file_;             // the file that had the catalog before, if there was one
  std::string fileState_;        // of the catalog in that file, as it was when the new one was begun
  std::string state_;            // of the old catalog in the database
  std::shared_ptr<void> claim_;  // of the program that makes a new catalog
};

Status DatabaseHome::ConnectOld(std::unique_ptr<SqlEngine>& engine) {
  Status connected = Connect(MakeCatalog::kNever, engine);
  return connected.What() == Status::Kind::kMissing && HasAnyFile(file_)
             ? OpenSqlite(file_, MakeCatalog::kNever, engine)
             : connected;
}

// A schema without the tables of a catalog belongs to somebody else, unless it is empty.
Status DatabaseHome::DropOld(const PostgresOptions& anew, const Uid& repository) {
  std::unique_ptr<SqlEngine> engine;
  Uid other;
  Status found = OpenPostgres({anew.url, anew.schema, MakeCatalog::kNever}, engine);
  if (!found && found.What() != Status::Kind::kMissing) {
    return found;
  }
  if (found && IsOfAnother(*engine, repository, other)) {
    return Status::Failed("the schema " + anew.schema +
                          ", which is to be the new catalog, is another repository's (" + other.Hex() +
                          "): let that one have another name");
  }
  engine.reset();
  return DropPostgres(anew, static_cast<bool>(found))
      .Within("the schema " + anew.schema + ", which is to be the new catalog");
}

Status DatabaseHome::BeginNew(const Uid& repository, std::unique_ptr<SqlEngine>& engine) {
  if (Status claimed = ClaimPostgres(options_, claim_); !claimed) {
    return claimed;
  }
  Status read = ReadPostgresState(options_, state_);
  if (!read) {
    state_.clear();
  }
  const PostgresOptions anew = {options_.url, NewSchema(), MakeCatalog::kIfMissing};
  Status done = PassIfLost(read);
  // Programs with the configuration of before use the file until it is put aside.
  if (done && state_ == kNoCatalog && HasAnyFile(file_)) {
    done = ReadFileState(file_, fileState_);
  }
  if (done) {
    done = DropOld(anew, repository);
  }
  if (done) {
    done = OpenPostgres(anew, engine);
  }
  // Between two rows the rebuild reads packs, perhaps from a bucket.
  return done ? engine->Run("SET idle_in_transaction_session_timeout = '1h'", {}) : done;
}

Status DatabaseHome::EndNew(std::string& aside) {
  std::unique_ptr<SqlEngine> held;
  if (Status unchanged = HoldUnchanged(file_, fileState_, held); !unchanged) {
    return unchanged;
  }
  if (Status exchanged = ExchangePostgres(options_, NewSchema(), state_, aside); !exchanged) {
    return exchanged;
  }
  if (!aside.empty()) {
    aside = TellPostgres({options_.url, aside, MakeCatalog::kNever});
    return {};
  }
  // Until now the catalog was a file.
  Status put = PutFileAside(file_, aside);
  if (put) {
    EndHold(aside, held);
  }
  return put;
}

}  // namespace

std::unique_ptr<CatalogHome> MakeDatabaseHome(const ServerConfig& config) {
  return std::make_unique<DatabaseHome>(config);
}

}  // namespace store
