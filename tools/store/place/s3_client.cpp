#include "store/place/s3_client.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <random>
#include <string_view>

#include "platform/platform.h"
#include "store/place/curl.h"
#include "store/place/s3_xml.h"

namespace store {
namespace {

constexpr const char* kHashOfNothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
// How much is kept of an answer that is not good.
constexpr std::size_t kMostOfAnError = 64 * 1024;
constexpr std::size_t kMostWords = 300;

bool IsPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~").find(c) != std::string_view::npos;
}

// A hash in base64.
std::string Base64OfHex(const std::string& hex) {
  std::vector<unsigned char> bytes(hex.size() / 2);
  sodium_hex2bin(bytes.data(), bytes.size(), hex.data(), hex.size(), nullptr, nullptr, nullptr);
  std::string base64(sodium_base64_encoded_len(bytes.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
  sodium_bin2base64(base64.data(), base64.size(), bytes.data(), bytes.size(), sodium_base64_VARIANT_ORIGINAL);
  base64.pop_back();  // the zero behind it
  return base64;
}

std::string Encoded(std::string_view text, bool keepSlashes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    if (IsPlain(c) || (keepSlashes && c == '/')) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return encoded;
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
  return lower;
}

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first == std::string_view::npos ? ""
                                         : text.substr(first, text.find_last_not_of(" \t\r\n") + 1 - first);
}

// Whether the server asks to be asked again, or says that what it got is not what was sent.
bool MayBeTriedAgain(const S3Answer& answer) {
  if (answer.status >= 500) {
    return answer.status != 501 && answer.status != 505 && answer.status != 507;
  }
  if (answer.status == 408 || answer.status == 429) {
    return true;
  }
  constexpr std::array<std::string_view, 7> kCodes = {
      "RequestTimeout", "BadDigest",        "InvalidDigest", "XAmzContentSHA256Mismatch",
      "IncompleteBody", "OperationAborted", "SlowDown"};
  const std::string code = answer.status >= 400 ? ParseS3Error(answer.body).code : "";
  return std::find(kCodes.begin(), kCodes.end(), code) != kCodes.end();
}

// Failures that would be the same each time.
bool IsForGood(CURLcode code) {
  constexpr std::array<CURLcode, 8> kForGood = {CURLE_UNSUPPORTED_PROTOCOL, CURLE_URL_MALFORMAT,
                                                CURLE_OUT_OF_MEMORY,        CURLE_PEER_FAILED_VERIFICATION,
                                                CURLE_SSL_CACERT_BADFILE,   CURLE_WRITE_ERROR,
                                                CURLE_ABORTED_BY_CALLBACK,  CURLE_BAD_FUNCTION_ARGUMENT};
  return std::find(kForGood.begin(), kForGood.end(), code) != kForGood.end();
}

// The messages differ with the library that does TLS.
bool IsNoTls(CURLcode code, std::string_view words) {
  constexpr std::array kWords = {"unexpected TLS packet", "wrong version number", "packet length too long",
                                 "SEC_E_INVALID_TOKEN"};
  return code == CURLE_SSL_CONNECT_ERROR &&
         std::any_of(kWords.begin(), kWords.end(),
                     [words](const char* some) { return words.find(some) != std::string_view::npos; });
}

bool NeverReached(CURLcode code) {
  return code == CURLE_COULDNT_RESOLVE_HOST || code == CURLE_COULDNT_RESOLVE_PROXY ||
         code == CURLE_COULDNT_CONNECT;
}

// Milliseconds. Half of it is random, so that many that failed together do not come back together.
std::uint32_t Pause(const S3Settings& settings, int tried) {
  std::int64_t pause = settings.firstPause;
  for (int i = 1; i < tried && pause < settings.longestPause; ++i) {
    pause *= 2;
  }
  pause = std::min(pause, settings.longestPause);
  thread_local std::minstd_rand dice{std::random_device()()};
  return static_cast<std::uint32_t>(pause / 2 +
                                    std::uniform_int_distribution<std::int64_t>(0, pause / 2)(dice));
}

// What a certificate has to be, and what the refused one is.
std::string AboutCertificate(CURL* curl, const std::string& caFile) {
  std::string words =
      "the server's certificate has to be for this host, valid today, and signed by an authority " +
      (caFile.empty() ? "that the system trusts (ca_file names others)" : "of ca_file = " + caFile);
  curl_certinfo* shown = nullptr;
  if (curl_easy_getinfo(curl, CURLINFO_CERTINFO, &shown) != CURLE_OK || shown == nullptr ||
      shown->num_of_certs == 0) {
    return words;
  }
  // The first one is the server's. The names of its facts come with and without a capital letter.
  for (const curl_slist* line = shown->certinfo[0]; line != nullptr; line = line->next) {
    const std::string_view fact = line->data;
    const std::size_t colon = std::min(fact.find(':'), fact.size() - 1);
    const std::string name = Lower(fact.substr(0, colon));
    if (name == "issuer" || name == "expire date") {
      words += name == "issuer" ? "; this one is signed by " : ", valid until ";
      words += fact.substr(colon + 1);
    }
  }
  return words;
}

}  // namespace

// ---- One request in flight ------------------------------------------------------------------------

struct S3Client::Handle {
  Handle() : curl(curl_easy_init()) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { curl_easy_cleanup(curl); }

  CURL* curl;
};

struct S3Client::Transfer {
  Transfer(const S3Request& theRequest, S3Answer& theAnswer) : request(theRequest), answer(theAnswer) {}
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  ~Transfer() { curl_slist_free_all(headers); }

  void AddHeader(const std::string& header) {
    // Without memory the list stays as it was. The server refuses a request that lacks a header.
    curl_slist* longer = curl_slist_append(headers, header.c_str());
    headers = longer == nullptr ? headers : longer;
  }

  static std::size_t TakeHeader(char* bytes, std::size_t /*one*/, std::size_t size, void* data) {
    S3Answer& answer = static_cast<Transfer*>(data)->answer;
    const std::string_view line = Trim({bytes, size});
    if (line.starts_with("HTTP/")) {
      answer = S3Answer();
      const std::size_t blank = line.find(' ');
      answer.status =
          blank == std::string_view::npos ? 0 : std::atol(std::string(line.substr(blank)).c_str());
    } else if (const std::size_t colon = line.find(':'); colon != std::string_view::npos) {
      answer.headers[Lower(line.substr(0, colon))] = Trim(line.substr(colon + 1));
    }
    return size;
  }

  static std::size_t TakeBody(char* bytes, std::size_t /*one*/, std::size_t size, void* data) {
    Transfer& transfer = *static_cast<Transfer*>(data);
    std::string& body = transfer.answer.body;
    if (!transfer.answer.IsGood()) {
      body.append(bytes, std::min(size, kMostOfAnError - std::min(kMostOfAnError, body.size())));
      return size;
    }
    transfer.tooLong = body.size() + size > transfer.request.mostBytes;
    if (transfer.tooLong) {
      return 0;
    }
    body.append(bytes, size);
    return size;
  }

  static std::size_t GiveBody(char* bytes, std::size_t /*one*/, std::size_t size, void* data) {
    Transfer& transfer = *static_cast<Transfer*>(data);
    S3Body& body = *transfer.request.body;
    const auto some = static_cast<std::size_t>(std::min<std::uint64_t>(size, body.Size() - transfer.sent));
    if (some > 0 && !body.Read(transfer.sent, bytes, some)) {
      return CURL_READFUNC_ABORT;
    }
    transfer.sent += some;
    return some;
  }

  static int GoBack(void* data, curl_off_t offset, int origin) {
    static_cast<Transfer*>(data)->sent = static_cast<std::uint64_t>(offset);
    return origin == SEEK_SET ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
  }

  const S3Request& request;
  S3Answer& answer;
  curl_slist* headers = nullptr;
  std::uint64_t sent = 0;
  bool tooLong = false;
  std::string range;
  std::array<char, CURL_ERROR_SIZE> why = {};
};

S3Client::S3Client(S3Settings settings) : settings_(std::move(settings)) {
  static const CURLcode begun = curl_global_init(CURL_GLOBAL_DEFAULT);
  (void)begun;  // if it failed, no handle can be made, and that is told
}

S3Client::~S3Client() = default;

std::unique_ptr<S3Client::Handle> S3Client::TakeHandle() {
  {
    const std::lock_guard lock(mutex_);
    if (!idle_.empty()) {
      std::unique_ptr<Handle> handle = std::move(idle_.back());
      idle_.pop_back();
      return handle;
    }
  }
  return std::make_unique<Handle>();
}

void S3Client::GiveBack(std::unique_ptr<Handle> handle) {
  // Forgets all settings, but keeps the connections.
  curl_easy_reset(handle->curl);
  const std::lock_guard lock(mutex_);
  idle_.push_back(std::move(handle));
}

std::string S3Client::Url(const S3Request& request) const {
  std::string url = settings_.endpoint;
  if (settings_.pathStyle) {
    url += "/" + settings_.bucket;
  } else {
    url.insert(url.find("://") + 3, settings_.bucket + ".");
  }
  url += "/" + Encoded(request.key, true);
  // Without a key, the path ends with the bucket.
  if (settings_.pathStyle && request.key.empty()) {
    url.pop_back();
  }
  char mark = '?';
  for (const auto& [name, value] : request.query) {
    url += mark + Encoded(name, false) + "=" + Encoded(value, false);
    mark = '&';
  }
  return url;
}

void S3Client::SetUp(Handle& handle, Transfer& transfer) {
  CURL* curl = handle.curl;
  const S3Request& request = transfer.request;
  curl_easy_setopt(curl, CURLOPT_URL, Url(request).c_str());
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, settings_.endpoint.starts_with("https:") ? "https" : "http");
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_CERTINFO, 1L);
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, transfer.why.data());
  if (!settings_.caFile.empty()) {
    curl_easy_setopt(curl, CURLOPT_CAINFO, settings_.caFile.c_str());
    curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  }
  if (IsLoopback(settings_.endpoint)) {
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
  }
  curl_easy_setopt(curl, CURLOPT_AWS_SIGV4, ("aws:amz:" + settings_.region + ":s3").c_str());
  curl_easy_setopt(curl, CURLOPT_USERNAME, settings_.accessKey.c_str());
  curl_easy_setopt(curl, CURLOPT_PASSWORD, settings_.secretKey.c_str());
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings_.connectTime));
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, static_cast<long>(settings_.silence));
  curl_easy_setopt(curl, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &Transfer::TakeHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Transfer::TakeBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, 256L * 1024);
  if (!request.range.empty()) {
    curl_easy_setopt(curl, CURLOPT_RANGE, request.range.c_str());
  }
  SetUpBody(handle, transfer);
  for (const std::string& header : request.headers) {
    transfer.AddHeader(header);
  }
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, transfer.headers);
}

void S3Client::SetUpBody(Handle& handle, Transfer& transfer) {
  CURL* curl = handle.curl;
  const S3Request& request = transfer.request;
  switch (request.verb) {
    case S3Request::Verb::kHead:
      curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
      break;
    case S3Request::Verb::kDelete:
      curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, "DELETE");
      break;
    case S3Request::Verb::kPut:
      // A bucket may lock new objects for a time; servers then demand a checksum that they keep.
      transfer.AddHeader("x-amz-checksum-sha256: " + Base64OfHex(request.body->Hash()));
      curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
      curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, 256L * 1024);
      curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.body->Size()));
      curl_easy_setopt(curl, CURLOPT_READFUNCTION, &Transfer::GiveBody);
      curl_easy_setopt(curl, CURLOPT_READDATA, &transfer);
      curl_easy_setopt(curl, CURLOPT_SEEKFUNCTION, &Transfer::GoBack);
      curl_easy_setopt(curl, CURLOPT_SEEKDATA, &transfer);
      break;
    case S3Request::Verb::kGet:
      break;
  }
  transfer.AddHeader("x-amz-content-sha256: " +
                     (request.body == nullptr ? std::string(kHashOfNothing) : request.body->Hash()));
}

S3Client::Try S3Client::Perform(Handle& handle, Transfer& transfer) {
  const CURLcode code = curl_easy_perform(handle.curl);
  if (code == CURLE_OK) {
    return {MayBeTriedAgain(transfer.answer), true, ""};
  }
  if (transfer.tooLong) {
    return {false, true, "the server's answer is longer than what it was asked for"};
  }
  // A server that refuses early closes before it has read everything: its words are worth more than the
  // broken connection.
  if (transfer.answer.status >= 400 && !transfer.answer.body.empty()) {
    return {MayBeTriedAgain(transfer.answer), true, ""};
  }
  std::string why = transfer.why[0] == '\0' ? curl_easy_strerror(code) : transfer.why.data();
  if (code == CURLE_PEER_FAILED_VERIFICATION) {
    why = AboutCertificate(handle.curl, settings_.caFile) + ": " + why;
  }
  transfer.answer = S3Answer();
  if (IsNoTls(code, why)) {
    return {false, true, "what answers there speaks no TLS: let endpoint begin with http:// (" + why + ")"};
  }
  return {!IsForGood(code), !NeverReached(code), why};
}

S3Client::Try S3Client::Send(const S3Request& request, S3Answer& answer) {
  answer = S3Answer();
  std::unique_ptr<Handle> handle = TakeHandle();
  if (handle->curl == nullptr) {
    return {false, false, "libcurl cannot be used: is there memory?"};
  }
  Transfer transfer(request, answer);
  SetUp(*handle, transfer);
  Try tried = Perform(*handle, transfer);
  GiveBack(std::move(handle));
  return tried;
}

Status S3Client::Ask(const S3Request& request, S3Answer& answer, const Look& look) {
  for (int tried = 1;; ++tried) {
    const Try one = Send(request, answer);
    if (!one.again || tried >= settings_.tries || platform::Interrupted()) {
      return one.why.empty()
                 ? Status()
                 : Status::Failed(one.why +
                                  (tried > 1 ? " (tried " + std::to_string(tried) + " times)" : ""));
    }
    platform::SleepMilliseconds(Pause(settings_, tried));
    bool done = false;
    if (look && one.reached) {
      if (Status looked = look(done); !looked) {
        return looked;
      }
    }
    if (done) {
      answer = S3Answer();
      answer.status = 200;
      return {};
    }
  }
}

// ---- What is told -----------------------------------------------------------------------------------

bool IsLoopback(const std::string& endpoint) {
  const std::size_t scheme = endpoint.find("://");
  std::string_view host = std::string_view(endpoint).substr(scheme == std::string::npos ? 0 : scheme + 3);
  host = host.substr(0, host.find('/'));
  if (host.starts_with('[')) {
    return host.substr(0, host.find(']') + 1) == "[::1]";
  }
  host = host.substr(0, host.find(':'));
  return host == "localhost" ||
         (host.starts_with("127.") && host.find_first_not_of("0123456789.") == std::string_view::npos);
}

std::string ServersWords(const S3Answer& answer) {
  const S3Error error = ParseS3Error(answer.body);
  std::string words = error.code + (error.code.empty() || error.message.empty() ? "" : ": ") + error.message;
  words.resize(std::min(words.size(), kMostWords));
  std::replace_if(
      words.begin(), words.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return words.empty() ? "the server answers with status " + std::to_string(answer.status)
                       : words + " (" + std::to_string(answer.status) + ")";
}

}  // namespace store
