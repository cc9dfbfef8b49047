// Sums over packs, for the owner's reports.
#include "store/catalog/catalog_inside.h"

namespace store {

Status Catalog::SumPacks(std::vector<PackSum>& sums) {
  sums.clear();
  return inside_->engine->Run(
      "SELECT saveset, count(*), CAST(coalesce(sum(size), 0) AS bigint), "
      "sum(CASE WHEN state = 2 THEN 1 ELSE 0 END), sum(CASE WHEN checked IS NULL THEN 1 ELSE 0 END), "
      "min(checked) "
      "FROM pack WHERE state IN (1, 2) GROUP BY saveset ORDER BY saveset",
      {}, [&sums](const SqlRow& row) {
        const auto number = [&row](int column) { return static_cast<std::uint64_t>(row.Number(column)); };
        PackSum& sum = sums.emplace_back();
        sum.saveset = row.Number(0);
        sum.packs = number(1);
        sum.bytes = number(2);
        sum.damaged = number(3);
        sum.unchecked = number(4);
        if (!row.IsNull(5)) {
          sum.oldestCheck = row.Number(5);
        }
        return Status();
      });
}

}  // namespace store
