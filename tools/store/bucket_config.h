// The settings of a repository that is in a bucket of a store which speaks the S3 protocol.
#pragma once

#include <string>
#include <string_view>

#include "store/status.h"

namespace store {

struct BucketConfig {
  std::string name;      // empty: the repository is in no bucket
  std::string prefix;    // of its objects: empty, or with a slash at its end
  std::string endpoint;  // https://host:port, or http:
  std::string region = "us-east-1";
  bool pathStyle = true;  // the bucket is in the path, not in the host's name
  std::string accessKey;
  std::string secretKey;
  std::string credentialsFile;  // has both instead
  std::string caFile;           // whose signatures count; empty: the system's
  bool allowHttp = false;       // also to another machine
};

[[nodiscard]] bool NamesABucket(std::string_view repository);

// Each takes a value, and gives what would be right, or nothing if the value is.
std::string ReadBucket(std::string_view repository, BucketConfig& bucket);  // s3://bucket/prefix
std::string ReadEndpoint(const std::string& value, BucketConfig& bucket);
std::string ReadCaFile(const std::string& value, BucketConfig& bucket);  // looks into it

// What is missing, or does not go together; nothing if all is well.
[[nodiscard]] std::string CheckBucket(const BucketConfig& bucket);

// Both keys from the credentials file, a configuration file of its own: section [section], or [DEFAULT], has
// access_key and secret_key. Refused if others may read or write it.
Status ReadCredentials(const std::string& section, BucketConfig& bucket);

}  // namespace store
