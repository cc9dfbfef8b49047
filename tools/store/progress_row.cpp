#include "store/progress_row.h"

#include <utility>

#include "platform/data_file.h"

namespace store {

ProgressRow::ProgressRow(Store& store, std::string tool, const Saveset* saveset) : store_(store) {
  run_.tool = std::move(tool);
  run_.saveset = saveset != nullptr ? saveset->id : 0;
}

ProgressRow::~ProgressRow() {
  if (begun_ && !failed_) {
    Ignore(rows_->ForgetProgress(run_.uid));
  }
}

bool ProgressRow::Begin() {
  std::int64_t now = 0;
  if (!store_.Connect(rows_) || !rows_->CanWrite() || !rows_->Now(now)) {
    return false;
  }
  const platform::ProcessIdentity process = platform::ThisProcess();
  run_.uid = Uid::Random();
  run_.process = {process.space, process.number, process.start};
  run_.began = now - static_cast<std::int64_t>(store_.Work().Now().seconds);
  return true;
}

void ProgressRow::Tell() {
  if (!begun_) {
    begun_ = true;
    failed_ = !Begin();
  }
  if (failed_) {
    return;
  }
  run_.state = store_.Work().Now();
  run_.told = run_.began + static_cast<std::int64_t>(run_.state.seconds);
  failed_ = !rows_->TellProgress(run_);
}

}  // namespace store
