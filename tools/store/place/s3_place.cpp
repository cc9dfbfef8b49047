#include "store/place/s3_place.h"

#include <algorithm>
#include <array>
#include <system_error>
#include <thread>

#include "store/place/s3_xml.h"
#include "store/place/spool.h"

namespace store {
namespace {

using Verb = S3Request::Verb;

// Stored with each object, for those who have to find out whether it is the one that was sent.
constexpr const char* kHashHeader = "x-amz-meta-sha256";
constexpr std::size_t kCompared = 1024 * 1024;

S3Request About(Verb verb, const std::string& key) {
  S3Request request;
  request.verb = verb;
  request.key = key;
  return request;
}

std::string Range(std::uint64_t offset, std::size_t size) {
  return std::to_string(offset) + "-" + std::to_string(offset + size - 1);
}

// What a person has to mend, for codes of failures where the server's own words are not enough.
std::string Advice(const std::string& code, const S3Settings& settings) {
  struct Meaning {
    const char* code;
    std::string advice;
  };
  const std::string wrongKeys = "access_key and secret_key have to be those of a user of this server";
  const std::string wrongRegion = "region = " + settings.region + " is not that of the server";
  const std::array<Meaning, 6> meanings = {
      {{"NoSuchBucket", "the bucket has to be made first, or repository names a wrong one"},
       {"InvalidAccessKeyId", wrongKeys},
       {"SignatureDoesNotMatch", wrongKeys},
       {"AuthorizationHeaderMalformed", wrongRegion},
       {"PermanentRedirect", wrongRegion + ", or endpoint is not the bucket's"},
       {"RequestTimeTooSkewed", "the clock of this machine or of the server is wrong"}}};
  const auto* found = std::find_if(meanings.begin(), meanings.end(),
                                   [&code](const Meaning& meaning) { return code == meaning.code; });
  return found == meanings.end() ? "" : found->advice + ". The server says: ";
}

bool MeansNoRoom(const S3Answer& answer, const std::string& code) {
  return answer.status == 507 || code == "QuotaExceeded" || code == "InsufficientStorage";
}

}  // namespace

S3Place::S3Place(S3Settings settings, std::string prefix, RunLocks locks)
    : client_(std::move(settings)), prefix_(std::move(prefix)), locks_(std::move(locks)) {}

// ---- What is told of failures -----------------------------------------------------------------------

std::string S3Place::Where(const S3Request& request) const {
  const S3Settings& settings = client_.Settings();
  return (request.key.empty() ? "" : "the object " + request.key + " in ") + ("bucket " + settings.bucket) +
         " at " + settings.endpoint;
}

Status S3Place::Refused(const std::string& what, const S3Request& request, const S3Answer& answer) const {
  const std::string code = ParseS3Error(answer.body).code;
  const std::string message =
      Where(request) + " " + what + ": " + Advice(code, client_.Settings()) + ServersWords(answer);
  return MeansNoRoom(answer, code) ? Status::NoRoom(message) : Status::Failed(message);
}

Status S3Place::Unanswered(const std::string& what, const S3Request& request, const Status& why) const {
  return Status::Failed(Where(request) + " " + what + ": " + why.Message());
}

// ---- Writing ------------------------------------------------------------------------------------------

class S3Place::NewOne : public NewObject {
 public:
  NewOne(S3Place& place, std::string name) : place_(place), name_(std::move(name)) {}

  ~NewOne() override {
    if (sender_.joinable()) {
      sender_.join();
      // Its writer gave it up, so nobody may find it. A user who may not delete leaves that to others.
      Ignore(place_.Delete(name_));
    }
  }

  Status Append(std::string_view bytes) override {
    if (!failure_) {
      return failure_;
    }
    if (ended_) {
      return failure_ = Status::Failed("the object " + name_ + " is finished");
    }
    return failure_ = spool_.Append(bytes);
  }

  void BeginFinish() override {
    if (!failure_ || ended_) {
      return;
    }
    End();
    try {
      sender_ = std::thread([this] { sent_ = place_.PutBody(name_, spool_); });
    } catch (const std::system_error&) {
      // No thread can be had: `Finish` sends it.
    }
  }

  Status Finish() override {
    if (!failure_) {
      return failure_;
    }
    if (sender_.joinable()) {
      sender_.join();
    } else {
      End();
      sent_ = place_.PutBody(name_, spool_);
    }
    // Nothing more may be done with it.
    failure_ = sent_ ? Status::Failed("the object " + name_ + " is finished") : sent_;
    return sent_;
  }

 private:
  void End() {
    if (!ended_) {
      spool_.End();
    }
    ended_ = true;
  }

  S3Place& place_;
  std::string name_;
  Spool spool_;
  bool ended_ = false;
  Status failure_;  // the first thing that went wrong
  Status sent_;     // written by the sender until that is joined
  std::thread sender_;
};

Status S3Place::Create(const std::string& name, std::unique_ptr<NewObject>& object) {
  object = std::make_unique<NewOne>(*this, name);
  return {};
}

Status S3Place::PutBody(const std::string& name, S3Body& body) {
  S3Request request = About(Verb::kPut, prefix_ + name);
  request.body = &body;
  request.headers = {kHashHeader + (": " + body.Hash()), "Content-Type: application/octet-stream"};
  S3Answer answer;
  Status asked = client_.Ask(request, answer, [&](bool& done) { return IsThere(name, body, done); });
  if (!asked) {
    return Unanswered("cannot be written", request, asked);
  }
  return answer.IsGood() ? Status() : Refused("cannot be written", request, answer);
}

// Whether the object is there with these bytes. If it has others, that does not count: it is written again.
Status S3Place::IsThere(const std::string& name, S3Body& body, bool& there) {
  there = false;
  const S3Request request = About(Verb::kHead, prefix_ + name);
  S3Answer answer;
  if (Status asked = client_.Ask(request, answer); !asked) {
    return asked;
  }
  std::uint64_t size = 0;
  if (!answer.IsGood() || !ReadSize(answer.Header("content-length"), size) || size != body.Size()) {
    return {};
  }
  const std::string hash = answer.Header(kHashHeader);
  if (!hash.empty()) {
    there = hash == body.Hash();
    return {};
  }
  return Compare(name, body, there);
}

// For a server that does not give back the hash that was stored with an object.
Status S3Place::Compare(const std::string& name, S3Body& body, bool& same) {
  same = true;
  std::string sent;
  std::string there;
  for (std::uint64_t offset = 0; same && offset < body.Size(); offset += sent.size()) {
    sent.resize(static_cast<std::size_t>(std::min<std::uint64_t>(kCompared, body.Size() - offset)));
    if (Status got = Get(name, offset, sent.size(), there); !got) {
      return got;
    }
    same = body.Read(offset, sent.data(), sent.size()) && sent == there;
  }
  return {};
}

// ---- Reading ------------------------------------------------------------------------------------------

Status S3Place::Get(const std::string& name, std::uint64_t offset, std::size_t size, std::string& bytes) {
  bytes.clear();
  const auto ends = [&name](std::uint64_t end) {
    return Status::Damaged("the object " + name + " ends at byte " + std::to_string(end) +
                           ", before what must be in it");
  };
  if (size == 0) {
    std::optional<std::uint64_t> whole;
    if (Status looked = Size(name, whole); !looked || (whole && offset <= *whole)) {
      return looked;
    }
    return whole ? ends(*whole) : Status::Missing("the object " + name + " is missing");
  }
  S3Request request = About(Verb::kGet, prefix_ + name);
  request.range = Range(offset, size);
  request.mostBytes = size;
  S3Answer answer;
  if (Status asked = client_.Ask(request, answer); !asked) {
    return Unanswered("cannot be read at byte " + std::to_string(offset), request, asked);
  }
  if (answer.status == 404 && ParseS3Error(answer.body).code == "NoSuchKey") {
    return Status::Missing("the object " + name + " is missing");
  }
  if (answer.status == 416) {
    return ends(offset);
  }
  if (answer.status != 206) {
    return Refused("cannot be read at byte " + std::to_string(offset), request, answer);
  }
  if (!answer.Header("content-range").starts_with("bytes " + std::to_string(offset) + "-")) {
    return Unanswered("cannot be read", request,
                      Status::Failed("the server gave another range than it was asked for"));
  }
  if (answer.body.size() < size) {
    // Only if the server says that the object ends there, it does.
    const std::uint64_t end = offset + answer.body.size();
    const std::string range = answer.Header("content-range");
    return range.ends_with("/" + std::to_string(end))
               ? ends(end)
               : Unanswered(
                     "cannot be read", request,
                     Status::Failed("the server's answer ended after " + std::to_string(answer.body.size()) +
                                    " of " + std::to_string(size) + " bytes"));
  }
  bytes = std::move(answer.body);
  return {};
}

Status S3Place::Size(const std::string& name, std::optional<std::uint64_t>& size) {
  size.reset();
  S3Request request = About(Verb::kHead, prefix_ + name);
  S3Answer answer;
  if (Status asked = client_.Ask(request, answer); !asked) {
    return Unanswered("cannot be looked up", request, asked);
  }
  if (answer.status == 404) {
    return {};
  }
  std::uint64_t number = 0;
  if (answer.IsGood() && ReadSize(answer.Header("content-length"), number)) {
    size = number;
    return {};
  }
  // This answer has no text. The same question as a GET, whose answer has one:
  request.verb = Verb::kGet;
  request.range = Range(0, 1);
  S3Answer words;
  return client_.Ask(request, words) && !words.IsGood() ? Refused("cannot be looked up", request, words)
                                                        : Refused("cannot be looked up", request, answer);
}

Status S3Place::List(const std::string& prefix, const Each& each) {
  std::string next;
  Status listed;
  do {
    listed = ListPage(prefix, next, next, each);
  } while (listed && !next.empty());
  return listed;
}

Status S3Place::ListPage(const std::string& prefix, const std::string& from, std::string& next,
                         const Each& each) {
  S3Request request = About(Verb::kGet, "");
  request.query = {{"list-type", "2"},
                   {"max-keys", std::to_string(client_.Settings().page)},
                   {"prefix", prefix_ + prefix}};
  if (!from.empty()) {
    request.query["continuation-token"] = from;
  }
  next.clear();
  S3Answer answer;
  if (Status asked = client_.Ask(request, answer); !asked) {
    return Unanswered("cannot be listed", request, asked);
  }
  if (!answer.IsGood()) {
    return Refused("cannot be listed", request, answer);
  }
  S3Page page;
  if (!ParseS3Page(answer.body, page)) {
    return Unanswered("cannot be listed", request,
                      Status::Failed("what the server answers is no list of objects"));
  }
  for (const S3Page::Object& object : page.objects) {
    // A server that ignores the prefix would give the objects of others.
    if (!object.key.starts_with(prefix_ + prefix)) {
      return Unanswered("cannot be listed", request,
                        Status::Failed("the server lists " + object.key + ", for which it was not asked"));
    }
    if (Status taken = each(object.key.substr(prefix_.size()), object.size); !taken) {
      return taken;
    }
  }
  next = page.next;
  return {};
}

Status S3Place::Delete(const std::string& name) {
  const std::string_view run =
      std::string_view(name).substr(std::min(name.size(), std::string_view(kRunPrefix).size()));
  if (Uid uid; name.starts_with(kRunPrefix) && Uid::FromHex(run, uid)) {
    return locks_.Remove(uid);
  }
  const S3Request request = About(Verb::kDelete, prefix_ + name);
  S3Answer answer;
  if (Status asked = client_.Ask(request, answer); !asked) {
    return Unanswered("cannot be deleted", request, asked);
  }
  const bool gone =
      answer.IsGood() || (answer.status == 404 && ParseS3Error(answer.body).code == "NoSuchKey");
  return gone ? Status() : Refused("cannot be deleted", request, answer);
}

// ---- What the server can do -----------------------------------------------------------------------------

Status S3Place::Explore(std::string& abilities) {
  abilities.clear();
  Status explored = ExploreReplacing(abilities);
  return explored ? ExploreLock(abilities) : explored;
}

// Puts the same object twice, on the condition that there is none.
Status S3Place::ExploreReplacing(std::string& abilities) {
  Spool body;
  if (Status filled = body.Append("May it be replaced?"); !filled) {
    return filled;
  }
  body.End();
  const std::string name = "probes/" + Uid::Random().Hex();
  S3Request request = About(Verb::kPut, prefix_ + name);
  request.body = &body;
  request.headers = {"If-None-Match: *"};
  S3Answer first;
  S3Answer second;
  Status asked = client_.Ask(request, first);
  if (asked && first.IsGood()) {
    asked = client_.Ask(request, second);
  }
  if (!asked) {
    return Unanswered("cannot be written", request, asked);
  }
  if (first.status == 403) {
    return Refused("cannot be written", request, first);
  }
  abilities = std::string("refuses_to_replace=") + (first.IsGood() && second.status == 412 ? "yes"
                                                    : first.IsGood()                       ? "no"
                                                                                           : "not offered");
  // Whoever makes a repository may have no right to delete. Then the probe stays, a few bytes.
  Ignore(Delete(name));
  return {};
}

Status S3Place::ExploreLock(std::string& abilities) {
  S3Request request = About(Verb::kGet, "");
  request.query = {{"object-lock", ""}};
  S3Answer answer;
  if (Status asked = client_.Ask(request, answer); !asked) {
    return Unanswered("cannot be asked for its object lock", request, asked);
  }
  std::string rule;
  const bool locks = answer.status == 200 && ParseObjectLock(answer.body, rule);
  const bool none = answer.status == 404;
  abilities += std::string("; object_lock=") + (locks ? "yes" : none ? "no" : "unknown");
  abilities += rule.empty() ? "" : "; keeps=" + rule;
  return {};
}

}  // namespace store
