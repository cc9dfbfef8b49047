#include "xfr_com_interface/reply.h"

#include <cstdio>

#include "store/names.h"

namespace {

bool anythingWritten = false;

}  // namespace

void Reply::Write() {
  anythingWritten = true;
  written_ = out_->Write(pending_) && written_;
  pending_.clear();
}

void Reply::Begin() {
  if (!begun_) {
    pending_ += "reply=OK\n";
    begun_ = true;
  }
}

void Reply::Add(const char* key, const std::string& value) {
  constexpr std::size_t kPiece = 64 * 1024;
  Begin();
  pending_.append(key).append("=").append(value).append("\n");
  if (pending_.size() >= kPiece) {
    Write();
  }
}

void Reply::Abandon(const char* reason) {
  std::printf(anythingWritten ? "\nmessage=kv_xfr_com-E %s\n" : "reply=ERROR\n%s\n", reason);
  std::fflush(stdout);
}

bool Reply::End(const store::Status& served) {
  const std::string sentence = store::OneLine(served.Message());
  if (served) {
    Begin();
  } else if (begun_) {
    pending_ += "message=kv_xfr_com-E " + sentence + "\n";
  } else {
    pending_ += "reply=ERROR\n" + sentence + "\n";
  }
  Write();
  return out_->Flush() && written_;
}
