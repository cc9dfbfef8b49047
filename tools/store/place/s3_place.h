// A place that is a bucket, or the part of one whose names begin with a prefix. Each object of the store is
// one object there. It is put whole, in one request with its hash, so no parts can be left that nobody puts
// together. If a put gets no answer, a look at the bucket tells whether it was carried out.
//
// Runs are held by locks of this host (run_locks.h): a bucket has none.
#pragma once

#include <memory>
#include <string>

#include "store/place/place.h"
#include "store/place/run_locks.h"
#include "store/place/s3_client.h"

namespace store {

class S3Place : public Place {
 public:
  // `prefix` is empty, or ends with a slash. Safe to use by several threads at once; their requests are in
  // flight side by side.
  S3Place(S3Settings settings, std::string prefix, RunLocks locks);

  [[nodiscard]] std::uint64_t BestObjectSize() const override { return 32 * 1024 * 1024; }
  Status Create(const std::string& name, std::unique_ptr<NewObject>& object) override;
  Status Get(const std::string& name, std::uint64_t offset, std::size_t size, std::string& bytes) override;
  Status Size(const std::string& name, std::optional<std::uint64_t>& size) override;
  Status List(const std::string& prefix, const Each& each) override;
  Status Delete(const std::string& name) override;
  Status HoldRun(const Uid& run, std::unique_ptr<RunHold>& hold) override { return locks_.Hold(run, hold); }
  Status IsRunGone(const Uid& run, bool& gone) override { return locks_.IsGone(run, gone); }
  // Tries it out on an object of its own, and asks the bucket.
  Status Explore(std::string& abilities) override;

 private:
  class NewOne;

  Status PutBody(const std::string& name, S3Body& body);
  Status IsThere(const std::string& name, S3Body& body, bool& there);
  Status Compare(const std::string& name, S3Body& body, bool& same);
  Status ListPage(const std::string& prefix, const std::string& from, std::string& next, const Each& each);
  Status ExploreReplacing(std::string& abilities);
  Status ExploreLock(std::string& abilities);
  Status Refused(const std::string& what, const S3Request& request, const S3Answer& answer) const;
  Status Unanswered(const std::string& what, const S3Request& request, const Status& why) const;
  [[nodiscard]] std::string Where(const S3Request& request) const;

  S3Client client_;
  std::string prefix_;
  RunLocks locks_;
};

}  // namespace store
