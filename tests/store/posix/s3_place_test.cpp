// The bucket behind a network that breaks, and in front of persons who configured it wrongly.
#include "store/place/s3_place.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "store/place/s3_client.h"
#include "store/place/s3_xml.h"
#include "store/place_backings.h"
#include "support/broken_network.h"
#include "support/object_store.h"
#include "support/run_program.h"

namespace store {
namespace {

using Fault = support::BrokenNetwork::Fault;
using Kind = Status::Kind;

constexpr int kTries = 4;

class PosixS3PlaceTest : public testing::Test {
 protected:
  PosixS3PlaceTest() : network_(support::ObjectStoreEndpoint()) {
    settings_ = TestBucket(network_.Endpoint());
    settings_.tries = kTries;
    settings_.firstPause = 1;
    settings_.silence = 3;
  }

  std::unique_ptr<S3Place> Open() {
    return std::make_unique<S3Place>(settings_, prefix_,
                                     RunLocks(directory_.File("runs"), "here", RunLocks::Whose::kEverybodys));
  }

  // Behind a network without faults.
  std::string Stored(const std::string& name) {
    network_.Follow({});
    std::optional<std::uint64_t> size;
    std::string bytes;
    EXPECT_TRUE(place_->Size(name, size));
    return size && place_->Get(name, 0, *size, bytes) ? bytes : "nothing";
  }

  std::int64_t Count(const std::string& method) {
    const std::vector<std::string> methods = network_.Methods();
    return std::count(methods.begin(), methods.end(), method);
  }

  support::TemporaryDirectory directory_;
  support::BrokenNetwork network_;
  S3Settings settings_;
  const std::string prefix_ = support::FreshPrefix() + "/";
  std::unique_ptr<S3Place> place_ = nullptr;
  const std::string name_ = PackObject(Uid::Random());
  // More than one buffer, and more than is kept in memory.
  const std::string bytes_ = std::string(1'300'000, 'a') + "the end";
};

// Everything that is done to a place, with one request of it that goes wrong.
TEST_F(PosixS3PlaceTest, OneFaultOfTheNetworkChangesNothing) {
  place_ = Open();
  for (const Fault fault : {Fault::kDropRequest, Fault::kCutRequest, Fault::kCorruptRequest,
                            Fault::kDropAnswer, Fault::kCutAnswer, Fault::kBusy, Fault::kFailed}) {
    for (int failing = 0; failing < 5; ++failing) {
      SCOPED_TRACE("fault " + std::to_string(static_cast<int>(fault)) + " at request " +
                   std::to_string(failing));
      int number = 0;
      network_.Follow([&](int at, const std::string&) {
        number = at;
        return at == failing ? fault : Fault::kNone;
      });
      const Status put = place_->Put(name_, bytes_);
      EXPECT_TRUE(put) << put.Message();
      std::optional<std::uint64_t> size;
      EXPECT_TRUE(place_->Size(name_, size));
      EXPECT_EQ(size, bytes_.size());
      std::string got;
      EXPECT_TRUE(place_->Get(name_, 1'000'000, bytes_.size() - 1'000'000, got));
      EXPECT_TRUE(got == bytes_.substr(1'000'000));
      std::map<std::string, std::uint64_t> listed;
      EXPECT_TRUE(place_->List("", [&listed](const std::string& name, std::uint64_t length) {
        listed[name] = length;
        return Status();
      }));
      EXPECT_EQ(listed, (std::map<std::string, std::uint64_t>{{name_, bytes_.size()}}));
      EXPECT_TRUE(place_->Delete(name_));
      EXPECT_GE(number, failing) << "the fault never came";
      EXPECT_EQ(Stored(name_), "nothing");
    }
  }
}

TEST_F(PosixS3PlaceTest, WhatIsNoLockGoesFromAmongTheLocksToo) {
  place_ = Open();
  ASSERT_TRUE(place_->Put("runs/note", bytes_));
  ASSERT_TRUE(Stored("runs/note") == bytes_);
  ASSERT_TRUE(place_->Delete("runs/note"));
  EXPECT_EQ(Stored("runs/note"), "nothing");
}

TEST_F(PosixS3PlaceTest, APutWithoutAnAnswerIsNotSentAgainIfItWasCarriedOut) {
  place_ = Open();
  for (const Fault fault : {Fault::kDropAnswer, Fault::kFailed, Fault::kSilence}) {
    const std::string name = PackObject(Uid::Random());
    network_.Follow([fault](int at, const std::string&) { return at == 0 ? fault : Fault::kNone; });
    const Status put = place_->Put(name, bytes_);
    EXPECT_TRUE(put) << put.Message();
    EXPECT_EQ(network_.Methods(), (std::vector<std::string>{"PUT", "HEAD"}));
    EXPECT_TRUE(Stored(name) == bytes_);
  }
  // An object of this name and size with other bytes is not taken for it.
  const std::string other(bytes_.size(), 'b');
  ASSERT_TRUE(place_->Put(name_, other));
  network_.Follow([](int at, const std::string&) { return at == 0 ? Fault::kDropRequest : Fault::kNone; });
  ASSERT_TRUE(place_->Put(name_, bytes_));
  EXPECT_EQ(Count("PUT"), 2);
  EXPECT_TRUE(Stored(name_) == bytes_);
}

TEST_F(PosixS3PlaceTest, WhereTheServerTellsNoHashTheBytesAreCompared) {
  place_ = Open();
  using Methods = std::vector<std::string>;
  const auto putAgain = [this](Fault first) {
    network_.Follow([first](int at, const std::string& method) {
      return at == 0 ? first : method == "HEAD" ? Fault::kHideHash : Fault::kNone;
    });
    EXPECT_TRUE(place_->Put(name_, bytes_));
    return network_.Methods();
  };
  EXPECT_EQ(putAgain(Fault::kDropAnswer), (Methods{"PUT", "HEAD", "GET", "GET"}));
  ASSERT_TRUE(place_->Put(name_, std::string(bytes_.size(), 'b')));
  EXPECT_EQ(putAgain(Fault::kBusy), (Methods{"PUT", "HEAD", "GET", "PUT"}));
  EXPECT_TRUE(Stored(name_) == bytes_);
}

TEST_F(PosixS3PlaceTest, OnlyAnObjectThatEndsTooEarlyIsDamaged) {
  place_ = Open();
  std::string got;
  ASSERT_TRUE(place_->Put(name_, bytes_));
  EXPECT_EQ(place_->Get(name_, bytes_.size() - 7, 8, got).What(), Kind::kDamaged);
  network_.Follow([](int, const std::string&) { return Fault::kShortAnswer; });
  const Status cut = place_->Get(name_, 0, bytes_.size(), got);
  EXPECT_EQ(cut.What(), Kind::kFailed) << cut.Message();
}

TEST_F(PosixS3PlaceTest, WhatNeverGetsThroughFailsAndSaysWhereAndWhyButNoSecret) {
  place_ = Open();
  network_.Follow([](int, const std::string&) { return Fault::kBusy; });
  const Status busy = place_->Put(name_, "bytes");
  EXPECT_FALSE(busy);
  EXPECT_NE(busy.Message().find(prefix_ + name_ + " in bucket bucket at " + network_.Endpoint()),
            std::string::npos)
      << busy.Message();
  EXPECT_NE(busy.Message().find("SlowDown: of the tests (503)"), std::string::npos) << busy.Message();
  EXPECT_EQ(busy.Message().find(support::kObjectStoreUser), std::string::npos);
  EXPECT_EQ(Stored(name_), "nothing");

  network_.Follow([](int, const std::string&) { return Fault::kDropRequest; });
  std::string got;
  const Status dropped = place_->Get(name_, 0, 1, got);
  EXPECT_EQ(dropped.What(), Kind::kFailed) << "a server that does not answer has no missing objects";
  EXPECT_EQ(Count("GET"), kTries);
  EXPECT_NE(dropped.Message().find("tried 4 times"), std::string::npos) << dropped.Message();

  // Each time the server sees other bytes than those of the hash.
  network_.Follow(
      [](int, const std::string& method) { return method == "PUT" ? Fault::kCorruptRequest : Fault::kNone; });
  EXPECT_FALSE(place_->Put(name_, bytes_));
  EXPECT_EQ(Count("PUT"), kTries);
  EXPECT_EQ(Stored(name_), "nothing");
}

TEST_F(PosixS3PlaceTest, AWrongSecretIsToldAtTheFirstRequestAndNotShown) {
  settings_.secretKey = "a wrong secret";
  place_ = Open();
  network_.Follow({});
  const Status put = place_->Put(name_, "bytes");
  EXPECT_EQ(network_.Methods().size(), 1u);
  std::optional<std::uint64_t> size;
  // The server's words are found for this one too, although its answer has none.
  for (const Status& status : {put, place_->Size(name_, size)}) {
    EXPECT_NE(status.Message().find("SignatureDoesNotMatch"), std::string::npos) << status.Message();
    EXPECT_EQ(status.Message().find(settings_.secretKey), std::string::npos);
  }
}

TEST_F(PosixS3PlaceTest, SeveralRequestsAreInFlightAndPutsBeginBeforeTheyAreWaitedFor) {
  place_ = Open();
  network_.Follow({});
  std::vector<std::unique_ptr<NewObject>> objects;
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(place_->Create(PackObject(Uid::Random()), objects.emplace_back()));
    ASSERT_TRUE(objects.back()->Append(bytes_));
    objects.back()->BeginFinish();
    EXPECT_FALSE(objects.back()->Append("more"));
  }
  objects.clear();
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(place_->Create(PackObject(Uid::Random()), objects.emplace_back()));
    ASSERT_TRUE(objects.back()->Append(bytes_));
    objects.back()->BeginFinish();
  }
  for (const auto& object : objects) {
    const Status finished = object->Finish();
    EXPECT_TRUE(finished) << finished.Message();
  }
  EXPECT_GE(network_.MostAtOnce(), 2);
  int listed = 0;
  EXPECT_TRUE(place_->List("", [&listed](const std::string&, std::uint64_t) {
    ++listed;
    return Status();
  }));
  EXPECT_EQ(listed, 4) << "those that were given up are gone";
}

TEST_F(PosixS3PlaceTest, APutThatFailsBeforeItIsWaitedForIsToldThen) {
  place_ = Open();
  network_.Follow(
      [](int, const std::string& method) { return method == "PUT" ? Fault::kBusy : Fault::kNone; });
  std::unique_ptr<NewObject> object;
  ASSERT_TRUE(place_->Create(name_, object));
  ASSERT_TRUE(object->Append(bytes_));
  object->BeginFinish();
  const Status finished = object->Finish();
  EXPECT_NE(finished.Message().find("SlowDown"), std::string::npos) << finished.Message();
  EXPECT_FALSE(object->Finish());
  EXPECT_EQ(Count("PUT"), kTries) << "it is sent by one of the two alone";
  EXPECT_EQ(Stored(name_), "nothing");
}

TEST_F(PosixS3PlaceTest, AListOfManyObjectsComesInPages) {
  settings_.page = 5;
  place_ = Open();
  for (int i = 0; i < 12; ++i) {
    ASSERT_TRUE(place_->Put(PackObject(Uid::Random()), "pack"));
  }
  network_.Follow({});
  std::map<std::string, std::uint64_t> listed;
  EXPECT_TRUE(place_->List(kPackPrefix, [&listed](const std::string& name, std::uint64_t size) {
    listed[name] = size;
    return Status();
  }));
  EXPECT_EQ(listed.size(), 12u);
  EXPECT_EQ(network_.Methods().size(), 3u);
}

TEST(PosixS3EndpointTest, OnlyThisMachineIsLoopback) {
  for (const char* here :
       {"http://localhost:9000", "localhost", "http://127.0.0.1/x", "https://[::1]:9000"}) {
    EXPECT_TRUE(IsLoopback(here)) << here;
  }
  for (const char* away :
       {"http://localhost.example.com", "http://127.0.0.1.example.com", "http://[::2]", "xlocalhost"}) {
    EXPECT_FALSE(IsLoopback(away)) << away;
  }
}

TEST(PosixS3XmlTest, OnlyAWholeListIsAList) {
  const std::string xml =
      "<?xml version=\"1.0\"?><ListBucketResult xmlns=\"any\"><Name>b</Name><IsTruncated>true</IsTruncated>"
      "<Contents><Key>a&amp;b</Key><Size>12</Size></Contents><Contents><Key>c</Key><Size>0</Size></Contents>"
      "<NextContinuationToken>t</NextContinuationToken></ListBucketResult>";
  S3Page page;
  ASSERT_TRUE(ParseS3Page(xml, page));
  ASSERT_EQ(page.objects.size(), 2u);
  EXPECT_EQ(page.objects[0].key, "a&b");
  EXPECT_EQ(page.objects[0].size, 12u);
  EXPECT_EQ(page.next, "t");
  EXPECT_FALSE(page.isLast);
  for (std::size_t size = 0; size < xml.size(); ++size) {
    EXPECT_FALSE(ParseS3Page(xml.substr(0, size), page)) << size;
  }
  const auto without = [&xml](const std::string& part, const std::string& instead) {
    return std::string(xml).replace(xml.find(part), part.size(), instead);
  };
  EXPECT_FALSE(ParseS3Page(without("<NextContinuationToken>t</NextContinuationToken>", ""), page))
      << "there is more, and no way to it";
  EXPECT_FALSE(ParseS3Page(without("12", "-1"), page));
  EXPECT_FALSE(ParseS3Page("<Error><Code>NoSuchBucket</Code></Error>", page));
}

TEST(PosixS3XmlTest, ALockIsToldWithItsRule) {
  std::string rule = "old";
  const std::string begin = "<ObjectLockConfiguration><ObjectLockEnabled>Enabled</ObjectLockEnabled>";
  const std::string end = "</ObjectLockConfiguration>";
  EXPECT_TRUE(ParseObjectLock(begin + end, rule));
  EXPECT_EQ(rule, "");
  EXPECT_TRUE(ParseObjectLock(begin +
                                  "<Rule><DefaultRetention><Mode>GOVERNANCE</Mode><Days>30</Days>"
                                  "</DefaultRetention></Rule>" +
                                  end,
                              rule));
  EXPECT_EQ(rule, "GOVERNANCE 30 Days");
  EXPECT_FALSE(ParseObjectLock(begin, rule) || ParseObjectLock("<Error/>", rule));
}

}  // namespace
}  // namespace store
