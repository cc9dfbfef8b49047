// Addresses of buckets, as people write them, and what a server of a bucket answers.
#include <algorithm>

#include "fuzz/fuzz.h"
#include "store/bucket_config.h"
#include "store/place/s3_client.h"
#include "store/place/s3_xml.h"

namespace fuzz {
namespace {

using namespace store;

constexpr std::string_view kScheme = "s3://";

bool HasControls(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7f'; });
}

void CheckAddress(std::string_view text) {
  BucketConfig bucket;
  const std::string address = std::string(kScheme) + std::string(text);
  if (NamesABucket(address) && ReadBucket(address, bucket).empty()) {
    Require(bucket.name.size() >= 3 && bucket.name.size() <= 63 && bucket.name.find('/') == std::string::npos,
            "a bucket has a name", bucket.name);
    Require(bucket.prefix.empty() || (bucket.prefix.ends_with('/') && bucket.prefix[0] != '/'),
            "a prefix ends in a slash", bucket.prefix);
    Require(!HasControls(bucket.name + bucket.prefix) &&
                (bucket.name + bucket.prefix).find_first_of("?#%&") == std::string::npos &&
                ("/" + bucket.prefix).find("/../") == std::string::npos,
            "an object's address means what it says", bucket.prefix);
    BucketConfig again;
    Require(ReadBucket(std::string(kScheme) + bucket.name + "/" + bucket.prefix, again).empty() &&
                again.name == bucket.name && again.prefix == bucket.prefix,
            "an address that was read can be read again", address);
  }
}

void CheckEndpoint(const std::string& text) {
  BucketConfig bucket;
  if (!ReadEndpoint(text, bucket).empty()) {
    return;
  }
  Require(bucket.endpoint.starts_with("http://") || bucket.endpoint.starts_with("https://"),
          "an endpoint has a scheme", bucket.endpoint);
  const std::string host = bucket.endpoint.substr(bucket.endpoint.find("//") + 2);
  Require(!host.empty() && host.find_first_of("/@?#") == std::string::npos && !HasControls(host),
          "an endpoint is a server and nothing else", host);
  bucket.name = "bucket";
  bucket.accessKey = bucket.secretKey = "key";
  Require(
      !CheckBucket(bucket).empty() || bucket.endpoint.starts_with("https://") || IsLoopback(bucket.endpoint),
      "nothing goes over the network as plain text unless that is allowed", bucket.endpoint);
}

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    escaped += character == '<'    ? "&lt;"
               : character == '&'  ? "&amp;"
               : character == '\r' ? "&#13;"
               : character == '>'  ? "&gt;"
                                   : std::string(1, static_cast<char>(byte));
  }
  return escaped;
}

std::string Xml(const S3Page& page) {
  std::string xml =
      "<ListBucketResult><IsTruncated>" + std::string(page.isLast ? "false" : "true") + "</IsTruncated>";
  for (const S3Page::Object& object : page.objects) {
    xml += "<Contents><Key>" + Escaped(object.key) + "</Key><Size>" + std::to_string(object.size) +
           "</Size></Contents>";
  }
  return xml +
         (page.isLast ? "" : "<NextContinuationToken>" + Escaped(page.next) + "</NextContinuationToken>") +
         "</ListBucketResult>";
}

void CheckPage(std::string_view text) {
  S3Page page;
  if (!ParseS3Page(text, page)) {
    return;
  }
  Require(page.isLast == page.next.empty(), "a list that goes on says where");
  Require(page.objects.size() * 4 <= text.size() || text.size() < 64, "a list is no larger than its text");
  const std::string again = Xml(page);
  S3Page second;
  Require(ParseS3Page(again, second), "a list that was read can be read again", again);
  Require(std::equal(page.objects.begin(), page.objects.end(), second.objects.begin(), second.objects.end(),
                     [](const S3Page::Object& one, const S3Page::Object& other) {
                       return one.key == other.key && one.size == other.size;
                     }) &&
              second.next == page.next,
          "a list that was read is read again", again);
}

void Run(std::string_view bytes) {
  Input input(bytes);
  const std::uint8_t how = input.Byte() % 4;
  const std::string text(input.Rest());
  if (how == 0) {
    CheckAddress(text);
    return;
  }
  if (how == 1) {
    CheckEndpoint(text);
    return;
  }
  CheckPage(text);
  S3Answer answer;
  answer.status = 500;
  answer.body = text;
  const S3Error error = ParseS3Error(text);
  const std::string words = ServersWords(answer);
  Require(!words.empty(), "a failure is told");
  Require(error.code.empty() || HasControls(error.code) || words.starts_with(error.code.substr(0, 64)),
          "a failure's code is told", words);
  std::string rule;
  static_cast<void>(ParseObjectLock(text, rule));
  Require(rule.size() <= 2 * text.size(), "a rule is no larger than its text");
}

void Seed(Corpus& corpus) {
  using namespace std::string_literals;
  for (const char* address :
       {"bucket", "bucket/a/b/", "my.bucket-1/prefix", "bu", "bucket//x", "bucket/../x"}) {
    corpus.Add("\0"s + address);
  }
  for (const char* endpoint : {"https://objects.example.com", "http://127.0.0.1:9000/", "http://[::1]:9000",
                               "ftp://x", "https://user@host", "http://localhost"}) {
    corpus.Add("\1"s + endpoint);
  }
  for (const char* text :
       {"<?xml version=\"1.0\"?><ListBucketResult "
        "xmlns=\"http://x/\"><Name>b</Name><IsTruncated>true</IsTruncated>"
        "<Contents><Key>a/packs/3f</Key><Size>12</Size></Contents><Contents><Key>a&amp;b</Key><Size>0</"
        "Size></Contents>"
        "<NextContinuationToken>t</NextContinuationToken></ListBucketResult>",
        "<ListBucketResult><IsTruncated>false</IsTruncated></ListBucketResult>",
        "<Error><Code>NoSuchBucket</Code><Message>The bucket does not exist</Message></Error>",
        "<ObjectLockConfiguration><ObjectLockEnabled>Enabled</ObjectLockEnabled><Rule><DefaultRetention>"
        "<Mode>GOVERNANCE</Mode><Days>30</Days></DefaultRetention></Rule></ObjectLockConfiguration>",
        "<!DOCTYPE a [<!ENTITY b "
        "\"c\">]><ListBucketResult><Contents><Key>&b;</Key></Contents></ListBucketResult>"}) {
    corpus.Add("\2"s + text);
  }
}

}  // namespace

const Target kBucket = {
    "bucket",
    Run,
    Seed,
    {"<ListBucketResult>", "</ListBucketResult>", "<Contents>", "</Contents>", "<Key>", "</Key>", "<Size>",
     "</Size>", "<IsTruncated>", "</IsTruncated>", "<NextContinuationToken>", "</NextContinuationToken>",
     "<Error><Code>", "<!DOCTYPE a [<!ENTITY b \"", "https://", "http://"}};

}  // namespace fuzz
