// The settings of a repository in a bucket, whose server speaks the S3 protocol.
#pragma once

#include <string>
#include <string_view>

#include "store/status.h"

namespace store {

struct BucketConfig {
  std::string name;      // empty: the repository is in no bucket
  std::string prefix;    // of its objects' names: empty, or with a slash at its end
  std::string endpoint;  // https://host:port, or http://host:port
  std::string region = "us-east-1";
  bool pathStyle = true;  // the bucket is in the path, not in the host's name
  std::string accessKey;
  std::string secretKey;
  std::string credentialsFile;  // the file that has both keys instead
  std::string caFile;           // certificates of the authorities to trust; empty: the system's
  bool allowHttp = false;       // also to another machine than this one
};

[[nodiscard]] bool NamesABucket(std::string_view repository);

// Each takes a value into `bucket`. The result says what would be right, and is empty if the value is.
std::string ReadBucket(std::string_view repository, BucketConfig& bucket);  // s3://bucket/prefix
std::string ReadEndpoint(const std::string& value, BucketConfig& bucket);
std::string ReadCaFile(const std::string& value, BucketConfig& bucket);  // reads the file

// What is missing or does not go together; empty if all is well.
[[nodiscard]] std::string CheckBucket(const BucketConfig& bucket);

// Reads both keys from the credentials file, if one is named. It has the form of a configuration file
// (ini_file.h); section [section], or else [DEFAULT], has access_key and secret_key. The file is refused if
// others may read or write it.
Status ReadCredentials(const std::string& section, BucketConfig& bucket);

}  // namespace store
