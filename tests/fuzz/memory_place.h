// A place in memory, for objects that a target has made.
#pragma once

#include <map>
#include <string>

#include "store/place/place.h"

namespace fuzz {

class MemoryPlace : public store::Place {
 public:
  std::map<std::string, std::string> objects;

  [[nodiscard]] std::uint64_t BestObjectSize() const override { return 1 << 20; }
  store::Status Create(const std::string& name, std::unique_ptr<store::NewObject>& object) override {
    object = std::make_unique<NewOne>(objects[name]);
    return {};
  }
  store::Status Get(const std::string& name, std::uint64_t offset, std::size_t size,
                    std::string& bytes) override {
    const auto found = objects.find(name);
    if (found == objects.end()) {
      return store::Status::Missing(name);
    }
    if (offset > found->second.size() || size > found->second.size() - offset) {
      return store::Status::Damaged(name + " ends before");
    }
    bytes = found->second.substr(static_cast<std::size_t>(offset), size);
    return {};
  }
  store::Status Size(const std::string& name, std::optional<std::uint64_t>& size) override {
    const auto found = objects.find(name);
    size = found == objects.end() ? std::nullopt : std::optional<std::uint64_t>(found->second.size());
    return {};
  }
  store::Status List(const std::string& /*prefix*/, const Each& /*each*/) override { return {}; }
  store::Status Delete(const std::string& name) override {
    objects.erase(name);
    return {};
  }
  store::Status HoldRun(const store::Uid& /*run*/, std::unique_ptr<store::RunHold>& /*hold*/) override {
    return {};
  }
  store::Status IsRunGone(const store::Uid& /*run*/, bool& gone) override {
    gone = false;
    return {};
  }

 private:
  class NewOne : public store::NewObject {
   public:
    explicit NewOne(std::string& bytes) : bytes_(bytes) { bytes_.clear(); }
    store::Status Append(std::string_view bytes) override {
      bytes_ += bytes;
      return {};
    }
    store::Status Finish() override { return {}; }

   private:
    std::string& bytes_;
  };
};

}  // namespace fuzz
