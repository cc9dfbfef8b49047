#include "store/bucket_config.h"

#include <algorithm>
#include <optional>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/base/read_file.h"
#include "store/ini_file.h"
#include "store/place/s3_client.h"
#include "store/repository_place.h"

namespace store {
namespace {

constexpr std::string_view kScheme = "s3://";
constexpr const char* kSmallLetters = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr const char* kCapitals = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";

bool HasOnly(std::string_view text, const std::string& characters) {
  return text.find_first_not_of(characters) == std::string_view::npos;
}

bool IsBucketName(std::string_view name) {
  constexpr std::size_t kShortest = 3;
  constexpr std::size_t kLongest = 63;
  return name.size() >= kShortest && name.size() <= kLongest &&
         HasOnly(name, std::string(kSmallLetters) + ".-_") && name.find("..") == std::string_view::npos &&
         name.front() != '.' && name.back() != '.';
}

// Allows only names that every server and every signature spells alike.
bool IsPrefix(std::string_view prefix) {
  constexpr std::size_t kLongest = 500;
  if (prefix.size() > kLongest || prefix.ends_with('/') ||
      !HasOnly(prefix, std::string(kSmallLetters) + kCapitals + "._-/")) {
    return false;
  }
  for (std::string_view rest = prefix; !rest.empty();) {
    const std::string_view part = rest.substr(0, rest.find('/'));
    if (part.empty() || part == "." || part == "..") {
      return false;
    }
    rest.remove_prefix(std::min(part.size() + 1, rest.size()));
  }
  return true;
}

// Whether the endpoint is an address without a name: no bucket can be put in front of it as part of the
// host's name.
bool IsAddress(const std::string& endpoint) {
  std::string host = endpoint.substr(endpoint.find("://") + 3);
  host = host.substr(0, host.find(':'));
  return host.starts_with('[') || HasOnly(host, "0123456789.");
}

}  // namespace

bool NamesABucket(std::string_view repository) { return repository.starts_with(kScheme); }

std::string ReadBucket(std::string_view repository, BucketConfig& bucket) {
  std::string_view rest = repository.substr(kScheme.size());
  const std::string_view name = rest.substr(0, rest.find('/'));
  rest.remove_prefix(std::min(name.size() + 1, rest.size()));
  if (rest.ends_with('/')) {
    rest.remove_suffix(1);
  }
  bucket.name = name;
  bucket.prefix = std::string(rest) + (rest.empty() ? "" : "/");
  return IsBucketName(name) && IsPrefix(rest)
             ? ""
             : "s3://bucket/prefix is expected; the bucket has 3 to 63 small letters, digits, points and"
               " hyphens, the prefix letters, digits, points, hyphens, underscores, and slashes between";
}

std::string ReadEndpoint(const std::string& value, BucketConfig& bucket) {
  bucket.endpoint = value.ends_with('/') ? value.substr(0, value.size() - 1) : value;
  const std::size_t scheme = bucket.endpoint.find("://");
  const std::string host = scheme == std::string::npos ? "" : bucket.endpoint.substr(scheme + 3);
  const bool good = (bucket.endpoint.starts_with("https://") || bucket.endpoint.starts_with("http://")) &&
                    !host.empty() && HasOnly(host, std::string(kSmallLetters) + kCapitals + ".-:[]");
  return good ? ""
              : "the address of a server is expected, as https://objects.example.com or https://host:9000";
}

// Without this look, a file without certificates would only show as a server that is never trusted.
std::string ReadCaFile(const std::string& value, BucketConfig& bucket) {
  constexpr std::size_t kMostRead = 1024 * 1024;
  bucket.caFile = value;
  if (!platform::IsAbsolute(value)) {
    return "the full path of a file is expected";
  }
  std::string why;
  std::string text;
  if (!ReadFileUpTo(value, kMostRead, text, why)) {
    return "it cannot be read: " + why;
  }
  return text.find("-----BEGIN CERTIFICATE-----") == std::string::npos
             ? "certificates as text are expected, each of which begins with -----BEGIN CERTIFICATE-----"
             : "";
}

std::string CheckBucket(const BucketConfig& bucket) {
  if (bucket.name.empty()) {
    const bool none = bucket.endpoint.empty() && bucket.accessKey.empty() && bucket.secretKey.empty() &&
                      bucket.credentialsFile.empty() && bucket.caFile.empty();
    return none ? ""
                : "endpoint, its keys and files are for a repository in a bucket: repository ="
                  " s3://bucket/prefix, or take them out";
  }
  if (bucket.endpoint.empty()) {
    return "the server of the bucket is not named: endpoint = https://host is expected";
  }
  if (bucket.endpoint.starts_with("http://") && !IsLoopback(bucket.endpoint) && !bucket.allowHttp) {
    return "endpoint = " + bucket.endpoint +
           " goes over the network as plain text, which others can read and change: let it begin with"
           " https://, or set allow_http = yes";
  }
  if (!bucket.pathStyle && IsAddress(bucket.endpoint)) {
    return "with path_style = no the bucket is in the host's name, and endpoint = " + bucket.endpoint +
           " has no name: let it have one, or take path_style out";
  }
  if (bucket.accessKey.empty() != bucket.secretKey.empty()) {
    return "access_key and secret_key go together: set both, or credentials_file";
  }
  if (bucket.accessKey.empty() == bucket.credentialsFile.empty()) {
    return bucket.accessKey.empty()
               ? "who uses the bucket is not said: set access_key and secret_key, or credentials_file"
               : "access_key and secret_key are set, and credentials_file too: take one of the two out";
  }
  return "";
}

Status ReadCredentials(const std::string& section, BucketConfig& bucket) {
  if (bucket.credentialsFile.empty()) {
    return {};
  }
  if (Status rights = CheckKeyFile(bucket.credentialsFile); !rights) {
    return rights;
  }
  IniFile file;
  if (Status read = IniFile::Read(bucket.credentialsFile, file); !read) {
    return read.Within("credentials_file");
  }
  const std::string found = file.Has(section) ? section : "DEFAULT";
  std::optional<std::string> accessKey;
  std::optional<std::string> secretKey;
  Status read = file.Find(found, "access_key", accessKey);
  if (read) {
    read = file.Find(found, "secret_key", secretKey);
  }
  if (read && (!accessKey || !secretKey || accessKey->empty() || secretKey->empty())) {
    read = Status::Failed(bucket.credentialsFile + " has no access_key and secret_key in section [" +
                          section + "] or [DEFAULT]");
  }
  if (read) {
    bucket.accessKey = *accessKey;
    bucket.secretKey = *secretKey;
  }
  return read;
}

}  // namespace store
