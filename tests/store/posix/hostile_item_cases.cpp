// Records and rows of items that lie.
#include <algorithm>

#include "platform/data_file.h"
#include "store/base/bytes.h"
#include "store/names.h"
#include "store/posix/hostile_cases.h"

namespace store {

namespace fs = std::filesystem;

void HostileCases::AddNames(const Item& good) {
  const std::string guard = directory_.File("guard");
  const std::string above = platform::DirectoryOf(good.name);
  const std::string nul(1, '\0');
  const std::vector<std::string> names = {good.name + "/../../../guard/evil",
                                          above + "/../guard/evil",
                                          guard + "/file",
                                          guard + "/evil",
                                          "../guard/evil",
                                          "..",
                                          ".",
                                          "/",
                                          "",
                                          above + "/..",
                                          above + "/.." + nul + "x",
                                          ".." + nul + "x",
                                          "/.." + nul + "x",
                                          Name("dir") + "/.." + nul + "x",
                                          Name("dir/..") + nul + "/evil",
                                          good.name + nul,
                                          guard + "/file" + nul + "x",
                                          good.name + "/",
                                          good.name + "//x",
                                          Name("alone/below"),
                                          Name("alone"),
                                          Name("dir/link/evil"),
                                          above + "/" + std::string(300, 'n'),
                                          above + std::string(5000, '/') + "x",
                                          above + "\\..\\..\\guard\\evil",
                                          "C:\\evil",
                                          above + "/\xff\xfe\n"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    Item bad = good;
    bad.name = names[i];
    AddItemCase("name " + std::to_string(i), good, bad,
                good.kind == ItemKind::kDirectory && i >= 10 && i < 15);
  }
}

void HostileCases::AddRights(const Item& good) {
  for (const unsigned mode : {04755U, 02755U, 06777U, 0U, 01777U, 0xFFFFFFFFU}) {
    for (const unsigned owner : {0U, kNobody, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
      for (const unsigned group : {0U, kNobody, 0xFFFFFFFFU}) {
        Item bad = good;
        bad.facts.mode = mode;
        bad.facts.owner = owner;
        bad.facts.group = group;
        AddItemCase("mode " + std::to_string(mode) + ", owner " + std::to_string(owner) + ", group " +
                        std::to_string(group),
                    good, bad, mode == 06777 && owner == group && good.directory != 0);
      }
    }
  }
}

void HostileCases::AddNumbers(const Item& good) {
  const std::vector<std::pair<std::string, std::function<void(Item&, std::uint64_t)>>> fields = {
      {"number", [](Item& item, std::uint64_t value) { item.number = value; }},
      {"size", [](Item& item, std::uint64_t value) { item.facts.size = value; }},
      {"size of a sparse one",
       [](Item& item, std::uint64_t value) {
         item.facts.size = value;
         item.facts.sparse = true;
       }},
      {"seconds",
       [](Item& item, std::uint64_t value) {
         item.facts.modified.seconds = static_cast<std::int64_t>(value);
       }},
      {"kind", [](Item& item, std::uint64_t value) { item.kind = static_cast<ItemKind>(value % 4); }},
      {"directory", [](Item& item, std::uint64_t value) { item.directory = value; }},
      {"directory itself", [](Item& item, std::uint64_t) { item.directory = item.number; }},
      {"entries", [](Item& item, std::uint64_t value) { item.entries = value; }},
      {"marker", [](Item& item, std::uint64_t) { item.marker = true; }},
      {"map's block", [](Item& item, std::uint64_t value) { item.map.block = value; }},
      {"map's offset", [](Item& item, std::uint64_t value) { item.map.offset = value; }},
      {"map's size", [](Item& item, std::uint64_t value) { item.map.size = value; }},
      {"map's pack",
       [](Item& item, std::uint64_t value) { item.map.pack.bytes[0] = static_cast<unsigned char>(value); }},
      {"content",
       [](Item& item, std::uint64_t value) { item.content.bytes[0] = static_cast<unsigned char>(value); }},
      {"stored", [](Item& item, std::uint64_t value) { item.stored = static_cast<std::int64_t>(value); }},
      {"packs", [](Item& item,
                   std::uint64_t value) { item.packs.assign(static_cast<std::size_t>(value % 3), Uid()); }},
  };
  for (const auto& [field, set] : fields) {
    std::vector<std::uint64_t> values = kNumbers;
    values.insert(values.end(), {good.facts.size + 1, good.facts.size - 1, good.number + 1, 2, 3});
    for (const std::uint64_t value : values) {
      Item bad = good;
      set(bad, value);
      AddItemCase(field + " " + std::to_string(value), good, bad);
    }
  }
}

void HostileCases::AddItemCases() {
  for (const Item& good : items_) {
    AddNames(good);
    AddRights(good);
    AddNumbers(good);
  }
}

// A link that leads out, and something below it or in its place: a restore follows no link that it made.
void HostileCases::AddLinkCases() {
  const auto find = [this](const std::string& name) {
    return *std::find_if(items_.begin(), items_.end(),
                         [&](const Item& item) { return item.name == Name(name); });
  };
  const Item link = find("dir/link");
  const Item file = find("dir/sub/f");
  const Item directory = find("dir/sub");
  const std::string nul(1, '\0');
  for (const std::string& text :
       {directory_.File("guard"), std::string("../../guard"), directory_.File("guard/file"), std::string(),
        "x" + nul + "y", std::string(10'000, 'l'), std::string(".")}) {
    for (const char* below : {"dir/link/evil", "dir/link/file", "dir/link", "dir/link/deeper/evil",
                              "dir/LINK/evil", "dir//link/evil"}) {
      for (const Item& other : {file, directory}) {
        Item leads = link;
        leads.link = text;
        Item evil = other;
        evil.name = Name(below);
        const auto change = [this, link, leads, other, evil] {
          PutRow(link.number, leads);
          PutRow(other.number, evil);
        };
        Add("a link to " + text + ", and " + below, change, false,
            std::string(below) == "dir/link/evil" && text == directory_.File("guard"));
      }
    }
  }
}

}  // namespace store
