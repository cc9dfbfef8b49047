// A catalog whose cells say what they like: what is taken out of a row is what its record says too, and no
// number in it leads outside.
#include <algorithm>

#include "fuzz/fuzz.h"
#include "fuzz/records.h"
#include "store/base/bytes.h"
#include "store/catalog/catalog_inside.h"
#include "store/names.h"

namespace fuzz {
namespace {

using namespace store;

// Cells as the input has them, each the same whenever it is asked for.
class InputRow : public SqlRow {
 public:
  explicit InputRow(Input& input) {
    const std::size_t columns = input.Byte() % 24;
    while (cells_.size() < columns && !input.AtEnd()) {
      cells_.push_back(Read(input));
    }
  }

  [[nodiscard]] bool IsNull(int column) const override { return At(column).isNull; }
  [[nodiscard]] std::int64_t Number(int column) const override { return At(column).number; }
  [[nodiscard]] std::string_view Bytes(int column) const override { return At(column).bytes; }

 private:
  struct Cell {
    bool isNull = false;
    std::int64_t number = 0;
    std::string bytes;
  };

  static Cell Read(Input& input) {
    Cell cell;
    switch (input.Byte() % 6) {
      case 0:
        cell.isNull = true;
        break;
      case 1:
        cell.number = input.Byte();
        break;
      case 2:
        cell.number = static_cast<std::int64_t>(input.Number());
        break;
      case 3:
        cell.bytes = input.Bytes(input.Byte());
        break;
      case 4:
        cell.bytes = std::string(Uid::kSize, static_cast<char>(input.Byte()));
        break;
      default:
        cell.bytes = RecordOf(input.Bytes(input.Byte()));
    }
    return cell;
  }

  [[nodiscard]] const Cell& At(int column) const {
    static const Cell kNull{true, 0, ""};
    const auto index = static_cast<std::size_t>(column);
    return index < cells_.size() ? cells_[index] : kNull;
  }

  std::vector<Cell> cells_;
};

// Answers every statement with the next rows of the input; nothing is kept.
class InputEngine : public SqlEngine {
 public:
  explicit InputEngine(Input input) : input_(input) {}

  Status Run(const std::string& /*text*/, const std::vector<SqlValue>& /*values*/, const Row& row) override {
    for (int rows = input_.Byte() % 5; rows > 0 && !input_.AtEnd(); --rows) {
      const InputRow next(input_);
      if (row) {
        if (Status taken = row(next); !taken) {
          return taken;
        }
      }
    }
    return {};
  }
  using SqlEngine::Run;
  [[nodiscard]] std::int64_t Changed() const override { return 1; }
  Status Begin() override { return {}; }
  Status Commit() override { return {}; }
  void Rollback() override {}
  [[nodiscard]] SqlTypes Types() const override { return {"INTEGER", "BLOB", ""}; }
  Status HasTable(std::string_view /*name*/, bool& has) override {
    has = true;
    return {};
  }
  Status CheckWhole(const std::function<void(const std::string&)>& /*wrong*/) override { return {}; }
  Status Now(std::int64_t& seconds) override {
    seconds = 1700000000;
    return {};
  }
  [[nodiscard]] bool CanWrite() const override { return true; }
  [[nodiscard]] bool IsShared() const override { return true; }

 private:
  Input input_;
};

void RunItemRow(std::string_view bytes) {
  Input input(bytes);
  const InputRow row(input);
  Item item;
  if (!ReadItem(row, 0, Uid(), Uid(), item)) {
    return;
  }
  Require(row.Number(0) == static_cast<std::int64_t>(item.number) &&
              row.Number(3) == static_cast<std::int64_t>(item.kind) &&
              row.Number(4) == static_cast<std::int64_t>(item.directory) &&
              row.Number(5) == static_cast<std::int64_t>(item.facts.size) && row.Number(6) == item.stored,
          "a row that is taken says what its record says", item.name);
  Require(row.Bytes(1).size() == ItemKey(item.name).size(), "a row that is taken is found by its item's name",
          item.name);
}

// All that is asked of a catalog without changing it. What an item needs is told only of an item that is
// right.
void AskAll(Catalog& catalog) {
  const auto take = [](const Item& item) {
    Require(item.kind <= ItemKind::kFirstLevel, "an item is of a known kind");
    return Status();
  };
  std::optional<Saveset> saveset;
  std::optional<Item> item;
  std::vector<std::string> names;
  std::vector<PackFacts> facts;
  std::vector<Uid> uids;
  std::vector<Run> runs;
  std::vector<RunProgress> progress;
  std::vector<Catalog::PackSum> sums;
  std::set<std::int64_t> ids;
  Catalog::Deleted deleted;
  std::string text;
  std::uint64_t room = 0;
  bool flag = false;
  Uid uid;
  const auto ask = [](const Status& status) { static_cast<void>(static_cast<bool>(status)); };
  ask(catalog.Prepare());
  ask(catalog.FindSaveset("SET", saveset));
  const Saveset one = saveset.value_or(Saveset());
  ask(catalog.FindItem(one, "/data/with blank.dbf", item));
  ask(catalog.FindItemsIn(one, "/data", text, take));
  ask(catalog.ListItems(one, take));
  ask(catalog.FindBase(one, "/data/a", 0, item, uid));
  ask(catalog.FindOlderCopies(one, "/data/a", [](const std::string&, const Item&) { return true; }));
  ask(catalog.ListSavesets("C11", names));
  ask(catalog.ListSavesetsWith("C11", "/data/a", names));
  ask(catalog.ListAllSavesets([](const Saveset&) { return Status(); }));
  ask(catalog.ListRuns(runs));
  ask(catalog.ListProgress(progress));
  ask(catalog.SumPacks(sums));
  ask(catalog.ListInUse(ids));
  ask(catalog.HoldsNewest(one, flag));
  ask(catalog.RoomOf({one.id}, INT64_MAX, room));
  ask(catalog.FindCopies("*", [](const Saveset&, const Item&, bool) { return Status(); }));
  ask(catalog.ListDeleted(deleted));
  ask(catalog.CheckWhole([](const std::string& wrong) { Require(!wrong.empty(), "what is wrong is told"); }));
  ask(catalog.ListPacks(facts));
  ask(catalog.ListPacksOf(one, uids));
  ask(catalog.ListItemsOfPack(uid, false, [](const Catalog::PackItem&) { return Status(); }));
  ask(catalog.ListRecords(one, [](const Catalog::ItemRecord&) { return Status(); }));
  ask(catalog.DeleteMarked(0));
}

void Run(std::string_view bytes) {
  Catalog catalog(std::make_unique<InputEngine>(Input(bytes)), Uid());
  AskAll(catalog);
}

std::string NumberCell(std::uint64_t number) { return "\2" + Encoder().U64(number).Take(); }
std::string BytesCell(std::string_view bytes) {
  return "\3" + std::string(1, static_cast<char>(bytes.size())) + std::string(bytes);
}

std::string RowOf(const Item& item) {
  const std::string fields = FieldsOf(item);
  const std::optional<std::string> listed = ListedKey(item.name);
  return "\x08" + NumberCell(item.number) + BytesCell(ItemKey(item.name)) +
         (listed ? BytesCell(*listed) : std::string(1, '\0')) +
         NumberCell(static_cast<std::uint64_t>(item.kind)) + NumberCell(item.directory) +
         NumberCell(item.facts.size) + NumberCell(static_cast<std::uint64_t>(item.stored)) + "\5" +
         std::string(1, static_cast<char>(fields.size())) + fields;
}

void Seed(Corpus& corpus) {
  std::string rows;
  for (const Item& item : SampleItems()) {
    rows += RowOf(item);
  }
  std::string saveset = "\x0f" + NumberCell(1) + "\4" + std::string(1, '\0') + BytesCell("SET") +
                        BytesCell("C11") + BytesCell("pool");
  for (int i = 0; i < 8; ++i) {
    saveset += NumberCell(1);
  }
  saveset += "\4" + std::string(1, '\0') + NumberCell(0);
  corpus.Add("\1" + saveset + "\3" + rows + "\3" + rows);
  corpus.Add(std::string(2, '\0') + "\1" + saveset + "\3" + rows + "\3" + rows + "\1" + saveset + "\3" +
             rows);
}

void SeedItemRow(Corpus& corpus) {
  for (const Item& item : SampleItems()) {
    corpus.Add(RowOf(item));
  }
}

}  // namespace

const Target kItemRow = {"item_row", RunItemRow, SeedItemRow, {}};
const Target kCatalog = {"catalog", Run, Seed, {}};

}  // namespace fuzz
