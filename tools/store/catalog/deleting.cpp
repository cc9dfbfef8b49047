// Taking savesets out in short transactions, and naming the packs that nobody needs then.
#include <algorithm>
#include <set>

#include "platform/platform.h"
#include "store/catalog/catalog_inside.h"

namespace store {
namespace {

// So few that the spare room is enough for the changes of one transaction.
constexpr int kPortion = 100;

// Names as deleted those of the packs that no item needs; within a transaction.
Status NameUnneeded(Catalog::Inside& inside, const std::set<std::int64_t>& packs, std::vector<Uid>& named) {
  for (const std::int64_t pack : packs) {
    std::vector<Uid> uid;
    if (Status done = inside.ListUids("UPDATE pack SET state = 3 WHERE id = $1 AND state IN (1, 2) AND " +
                                          kIsUnneeded + " RETURNING uid",
                                      {pack}, uid);
        !done) {
      return done;
    }
    named.insert(named.end(), uid.begin(), uid.end());
  }
  return {};
}

struct Portion {
  std::vector<std::int64_t> numbers;
  std::uint64_t bytes = 0;  // of its files
  std::set<std::int64_t> packs;
};

// The next items of the saveset, or of one of its directories, and all packs that they need.
Status ReadPortion(Catalog::Inside& inside, std::int64_t saveset, std::optional<std::int64_t> directory,
                   std::int64_t behind, Portion& portion) {
  portion = {};
  Status read = inside.engine->Run(
      "SELECT number, pack, kind, size FROM item WHERE saveset = $1 AND number > $2 AND (directory = $3 OR "
      "$3 = -1) "
      "ORDER BY number LIMIT $4",
      {saveset, behind, directory.value_or(-1), kPortion}, [&portion](const SqlRow& row) {
        portion.numbers.push_back(row.Number(0));
        portion.packs.insert(row.Number(1));
        const bool isFile = row.Number(2) == static_cast<int>(ItemKind::kFile);
        portion.bytes += isFile ? static_cast<std::uint64_t>(row.Number(3)) : 0;
        return Status();
      });
  if (!read || portion.numbers.empty()) {
    return read;
  }
  std::vector<std::int64_t> others;
  Status listed = inside.ListNumbers(
      "SELECT DISTINCT pack FROM needs WHERE saveset = $1 AND number >= $2 AND number <= $3",
      {saveset, portion.numbers.front(), portion.numbers.back()}, others);
  portion.packs.insert(others.begin(), others.end());
  return listed;
}

Status DeletePortion(Catalog::Inside& inside, std::int64_t saveset, std::optional<std::int64_t> directory,
                     const Portion& portion) {
  if (portion.numbers.empty()) {
    return {};
  }
  const std::string chosen =
      " WHERE saveset = $1 AND number >= $2 AND number <= $3 AND (directory = $4 OR $4 = -1)";
  const std::vector<SqlValue> values = {saveset, portion.numbers.front(), portion.numbers.back(),
                                        directory.value_or(-1)};
  for (const std::string& statement : {"DELETE FROM needs WHERE saveset = $1 AND number >= $2 AND number <= "
                                       "$3 AND number IN (SELECT number FROM "
                                       "item" +
                                           chosen + ")",
                                       "DELETE FROM item" + chosen}) {
    if (Status deleted = inside.Run(statement, values); !deleted) {
      return deleted;
    }
  }
  return inside.Run("UPDATE saveset SET bytes = bytes - $1 WHERE id = $2",
                    {Unsigned(portion.bytes), saveset});
}

// The reason why the saveset cannot be marked; within a transaction.
Status RefuseMark(Catalog::Inside& inside, std::int64_t saveset) {
  bool is = false;
  if (Status looked = inside.Exists(
          "SELECT 1 FROM saveset s WHERE s.id = $1 AND (EXISTS(SELECT 1 FROM run WHERE run.saveset = "
          "s.id) OR EXISTS(SELECT 1 FROM job WHERE job.saveset = s.id AND job.closed IS NULL) OR "
          "EXISTS(SELECT 1 FROM job j JOIN session n ON n.id = j.session WHERE j.saveset = s.id AND j.mode = "
          "0 "
          "AND n.closed IS NULL AND n.process <> 0))",
          {saveset}, is);
      !looked || is) {
    return looked
               ? Status::Failed("the saveset is in use: a job of it is still open, or its backup is not over")
               : looked;
  }
  Status looked = inside.Exists("SELECT 1 FROM saveset WHERE id = $1 AND protected = 1", {saveset}, is);
  return looked && is ? Status::Failed("the saveset is protected: `korvo protect --off` takes that back")
                      : looked;
}

// Within a transaction.
Status SetMark(Catalog::Inside& inside, std::int64_t saveset, const std::string& value,
               const SqlValue& time) {
  Status done =
      inside.Run("UPDATE saveset SET marked = " + value + " WHERE id = $1 AND deleting = 0", {saveset, time});
  return done && inside.engine->Changed() == 0 ? Status::Missing("there is no such saveset any more") : done;
}

Status Mark(Catalog::Inside& inside, std::int64_t saveset, const std::string& value, std::int64_t time) {
  Status refused = RefuseMark(inside, saveset);
  return refused ? SetMark(inside, saveset, value, time) : refused;
}

// Takes out the rest of a saveset that has no items any more.
Status TakeSavesetOut(Catalog::Inside& inside, std::int64_t saveset) {
  return inside.Transact([&] {
    if (Status named = inside.NameUnneededPacks(saveset); !named) {
      return named;
    }
    for (const char* statement :
         {"INSERT INTO deleted(uid) SELECT uid FROM saveset WHERE id = $1 AND deleting = 1",
          "DELETE FROM job WHERE saveset = $1", "DELETE FROM saveset WHERE id = $1 AND deleting = 1"}) {
      if (Status done = inside.Run(statement, {saveset}); !done) {
        return done;
      }
    }
    return Status();
  });
}

// Forgets the next ones, from `at` on, in one transaction, which lasts as long as the deletion of their
// objects. Each row is out before its object is deleted: so nobody else deletes the object, and nobody brings
// it again before the transaction ends.
Status ForgetPortion(Catalog::Inside& inside, const std::string& statement, const std::vector<Uid>& uids,
                     const Catalog::DeleteObject& deleteObject, std::size_t& at) {
  constexpr std::size_t kObjects = 16;
  constexpr std::uint64_t kMilliseconds = 200;
  const std::size_t first = at;
  return inside.Transact([&] {
    const std::uint64_t begin = platform::SteadyMilliseconds();
    // A deletion may wait for its server, but others wait five minutes at most for the rows that it takes
    // out.
    Status done = inside.engine->IsShared()
                      ? inside.Run("SET LOCAL idle_in_transaction_session_timeout = '4min'", {})
                      : Status();
    for (at = first; done && at < std::min(first + kObjects, uids.size()) &&
                     (at == first || platform::SteadyMilliseconds() - begin < kMilliseconds);
         ++at) {
      std::vector<Uid> taken;
      done = inside.ListUids(statement, {uids[at].Bytes()}, taken);
      if (done && !taken.empty()) {
        done = deleteObject(uids[at]);
      }
    }
    return done;
  });
}

// In portions, so that an interrupted deletion goes on where it was.
Status Forget(Catalog::Inside& inside, const std::string& statement, const std::vector<Uid>& uids,
              const Catalog::DeleteObject& deleteObject) {
  constexpr std::uint64_t kShortestPause = 5;
  constexpr std::uint64_t kLongestPause = 50;
  for (std::size_t at = 0; at < uids.size();) {
    const std::uint64_t begin = platform::SteadyMilliseconds();
    if (Status done = ForgetPortion(inside, statement, uids, deleteObject, at); !done) {
      return done;
    }
    if (at < uids.size()) {
      if (platform::Interrupted()) {
        return Status::Interrupted();
      }
      // Others that wait for the catalog get their turn.
      platform::SleepMilliseconds(static_cast<std::uint32_t>(
          std::clamp(platform::SteadyMilliseconds() - begin, kShortestPause, kLongestPause)));
    }
  }
  return {};
}

}  // namespace

Status Catalog::Inside::TakeItemsOut(std::int64_t saveset, std::optional<std::int64_t> directory,
                                     std::vector<Uid>& packs) {
  std::int64_t behind = 0;
  bool more = true;
  while (more) {
    std::vector<Uid> named;
    Portion portion;
    Status done = Transact([&] {
      named.clear();
      if (Status read = ReadPortion(*this, saveset, directory, behind, portion); !read) {
        return read;
      }
      if (Status deleted = DeletePortion(*this, saveset, directory, portion); !deleted) {
        return deleted;
      }
      return NameUnneeded(*this, portion.packs, named);
    });
    if (!done) {
      return done;
    }
    packs.insert(packs.end(), named.begin(), named.end());
    // Only now: items whose deletion was not committed are still there, and are read again.
    more = portion.numbers.size() == static_cast<std::size_t>(kPortion);
    behind = more ? portion.numbers.back() : behind;
  }
  return {};
}

Status Catalog::Inside::NameUnneededPacks(std::int64_t saveset) {
  return Run("UPDATE pack SET state = 3 WHERE saveset = $1 AND state IN (0, 1, 2) AND " + kIsUnneeded,
             {saveset});
}

Status Catalog::MarkSaveset(std::int64_t saveset, bool marked) {
  return marked ? MarkTogether({saveset}, false)
                : inside_->Transact([&] { return SetMark(*inside_, saveset, "$2", nullptr); });
}

Status Catalog::MarkTogether(const std::vector<std::int64_t>& savesets, bool atOnce) {
  return inside_->Transact([&] {
    std::int64_t now = 0;
    if (Status told = Now(now); !told) {
      return told;
    }
    for (const std::int64_t saveset : savesets) {
      // One that is marked already keeps its time.
      Status marked =
          atOnce ? Mark(*inside_, saveset, "$2", 0) : Mark(*inside_, saveset, "coalesce(marked, $2)", now);
      if (!marked) {
        return marked;
      }
    }
    return Status();
  });
}

Status Catalog::SetProtected(std::int64_t saveset, bool isProtected) {
  return inside_->Transact([&] {
    Status done = inside_->Run("UPDATE saveset SET protected = $2 WHERE id = $1 AND deleting = 0",
                               {saveset, isProtected});
    if (done && inside_->engine->Changed() == 0) {
      return Status::Missing("there is no such saveset any more");
    }
    return done && isProtected ? inside_->Run(
                                     "UPDATE saveset SET marked = NULL WHERE deleting = 0 AND together = "
                                     "(SELECT together FROM saveset WHERE id = $1)",
                                     {saveset})
                               : done;
  });
}

Status Catalog::DeleteMarked(std::int64_t markedBefore) {
  std::vector<std::int64_t> savesets;
  Status chosen = inside_->Transact([&] {
    if (Status marked = inside_->Run(
            "UPDATE saveset SET deleting = 1 WHERE marked IS NOT NULL AND marked <= $1 AND deleting = 0 AND "
            "protected = 0 AND NOT EXISTS(SELECT 1 FROM job WHERE job.saveset = saveset.id AND job.closed IS "
            "NULL)",
            {markedBefore});
        !marked) {
      return marked;
    }
    return inside_->ListNumbers("SELECT id FROM saveset WHERE marked IS NOT NULL AND deleting = 1", {},
                                savesets);
  });
  if (!chosen) {
    return chosen;
  }
  for (const std::int64_t saveset : savesets) {
    std::vector<Uid> packs;
    if (Status out = inside_->TakeItemsOut(saveset, std::nullopt, packs); !out) {
      return out;
    }
    if (Status out = TakeSavesetOut(*inside_, saveset); !out) {
      return out;
    }
  }
  return {};
}

// Lists the savesets first: a saveset's packs are named before it.
Status Catalog::ListDeleted(Deleted& deleted) {
  if (Status listed = inside_->ListUids("SELECT uid FROM deleted", {}, deleted.savesets); !listed) {
    return listed;
  }
  const std::string packs = "SELECT uid FROM pack WHERE " + std::string(kIsDeleted);
  return inside_->ListUids(packs, {}, deleted.packs);
}

// Before the number of a new row is counted, nobody is kept waiting.
Status Catalog::NameStrays(const std::vector<Uid>& packs) {
  for (const Uid& pack : packs) {
    Status named = inside_->Transact([&] {
      bool known = false;
      std::int64_t id = 0;
      Status done = inside_->Run("UPDATE pack SET state = 3 WHERE uid = $1 AND state = 0", {pack.Bytes()});
      if (done) {
        done = inside_->Exists("SELECT id FROM pack WHERE uid = $1", {pack.Bytes()}, known);
      }
      if (!done || known) {
        return done;
      }
      done = inside_->Count("pack", id);
      return done ? inside_->Run(
                        "INSERT INTO pack(id, uid, saveset, state, size) VALUES($1, $2, 0, 3, 0) ON "
                        "CONFLICT(uid) DO NOTHING",
                        {id, pack.Bytes()})
                  : done;
    });
    if (!named) {
      return named;
    }
  }
  return {};
}

Status Catalog::ForgetDeletedPacks(const std::vector<Uid>& packs, const DeleteObject& deleteObject) {
  return Forget(*inside_, "DELETE FROM pack WHERE uid = $1 AND state = 3 RETURNING uid", packs, deleteObject);
}

Status Catalog::ForgetDeletedSavesets(const std::vector<Uid>& savesets, const DeleteObject& deleteObject) {
  return Forget(*inside_, "DELETE FROM deleted WHERE uid = $1 RETURNING uid", savesets, deleteObject);
}

}  // namespace store
