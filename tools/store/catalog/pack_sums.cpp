// Sums over packs, for the owner's reports.
#include "store/catalog/catalog_inside.h"

namespace store {

Status Catalog::SumPacks(std::vector<PackSum>& sums) {
  sums.clear();
  return inside_->engine->Run(
      "SELECT coalesce(s.id, (SELECT min(n.saveset) FROM needs n WHERE n.pack = p.id), 0), count(*), "
      "CAST(coalesce(sum(p.size), 0) AS bigint), sum(CASE WHEN p.state = 2 THEN 1 ELSE 0 END), "
      "sum(CASE WHEN p.checked IS NULL THEN 1 ELSE 0 END), min(p.checked), "
      "CAST(sum(CASE WHEN s.id IS NOT NULL THEN p.size ELSE 0 END) AS bigint) "
      "FROM pack p LEFT JOIN saveset s ON s.id = p.saveset AND s.deleting = 0 "
      "WHERE p.state IN (1, 2) GROUP BY 1 ORDER BY 1",
      {}, [&sums](const SqlRow& row) {
        const auto number = [&row](int column) { return static_cast<std::uint64_t>(row.Number(column)); };
        PackSum& sum = sums.emplace_back();
        sum.saveset = row.Number(0);
        sum.packs = number(1);
        sum.bytes = number(2);
        sum.damaged = number(3);
        sum.unchecked = number(4);
        sum.added = number(6);
        if (!row.IsNull(5)) {
          sum.oldestCheck = row.Number(5);
        }
        return Status();
      });
}

}  // namespace store
