#include "store/server_keys.h"

#include <array>
#include <cstdint>
#include <string_view>

#include "platform/data_file.h"
#include "store/catalog/postgres_engine.h"
#include "store/names.h"

namespace store {
namespace {

bool ReadWholeNumber(std::string_view text, std::int64_t most, std::int64_t& number) {
  number = 0;
  for (const char digit : text) {
    if (digit < '0' || digit > '9' || number > most) {
      return false;
    }
    number = number * 10 + (digit - '0');
  }
  return !text.empty() && number <= most;
}

std::string ReadRepository(const std::string& value, ServerConfig& config) {
  config.repository = std::string(WithoutEndSeparators(value));
  if (NamesABucket(value)) {
    return ReadBucket(value, config.bucket);
  }
  return platform::IsAbsolute(value) && !config.repository.empty()
             ? ""
             : "the full path of a directory is expected, or s3://bucket/prefix";
}

std::string ReadCatalogSchema(const std::string& value, ServerConfig& config) {
  // Leaves room for the ending that a rebuild adds to the name of an old or a new schema.
  constexpr std::size_t kLongest = 50;
  config.catalogSchema = value;
  return value.size() <= kLongest && !value.starts_with("pg_")
             ? ""
             : "a name of at most 50 characters that does not begin with pg_ is expected";
}

std::string ReadCompression(const std::string& value, ServerConfig& config) {
  constexpr int kMost = 19;
  std::int64_t level = 0;
  if (!ReadWholeNumber(value, kMost, level)) {
    return "a number from 0 (none) to 19 (smallest, slowest) is expected";
  }
  config.compression = static_cast<int>(level);
  return "";
}

std::string ReadDuration(const std::string& value, std::int64_t& seconds) {
  constexpr std::int64_t kMost = 100 * 366;
  constexpr std::array<std::pair<char, std::int64_t>, 4> kUnits = {
      {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}}};
  std::string_view number = value;
  std::int64_t unit = value == "0" ? 1 : 0;
  for (const auto& [letter, length] : kUnits) {
    if (value.ends_with(letter)) {
      unit = length;
      number.remove_suffix(1);
    }
  }
  const bool good = unit != 0 && ReadWholeNumber(number, kMost * (86400 / unit), seconds);
  seconds *= unit;
  return good ? "" : "a whole number with its unit is expected, s, m, h or d as in 24h, of at most 100 years";
}

std::string ReadFreshAfter(const std::string& value, ServerConfig& config) {
  return ReadDuration(value, config.freshAfter);
}

std::string ReadGrace(const std::string& value, ServerConfig& config) {
  return ReadDuration(value, config.grace);
}

std::string ReadYesOrNo(const std::string& value, bool& yes) {
  yes = value == "yes";
  return value == "yes" || value == "no" ? "" : "yes or no is expected";
}

std::string ReadInPlace(const std::string& value, ServerConfig& config) {
  return ReadYesOrNo(value, config.inPlace);
}

std::string ReadUser(const std::string& value, ServerConfig& config) {
  config.user = value;
  return value.find_first_of(":\"") == std::string::npos
             ? ""
             : "a name without a colon or double quote is expected";
}

// A double quote does not get through the command line of the caller.
std::string ReadPassword(const std::string& value, ServerConfig& config) {
  config.password = value;
  return value.find('"') == std::string::npos ? "" : "a password without a double quote is expected";
}

std::string ReadFilePath(const std::string& value, std::string& path) {
  path = value;
  return platform::IsAbsolute(value) ? "" : "the full path of a file is expected";
}

std::string ReadSecretFile(const std::string& value, ServerConfig& config) {
  return ReadFilePath(value, config.secretFile);
}

std::string ReadKeyFile(const std::string& value, ServerConfig& config) {
  return ReadFilePath(value, config.keyFile);
}

std::string ReadCatalog(const std::string& value, ServerConfig& config) {
  if (value.find("://") == std::string::npos) {
    const std::string wrong = ReadFilePath(value, config.catalog);
    return wrong.empty() ? "" : wrong + ", or the address of a database: postgresql://host/database";
  }
  config.database = value;
  return CheckPostgresUrl(value, config.databaseHasPassword);
}

// ---- The same for a bucket ----

std::string ReadEndpointKey(const std::string& value, ServerConfig& config) {
  return ReadEndpoint(value, config.bucket);
}

std::string ReadRegion(const std::string& value, ServerConfig& config) {
  config.bucket.region = value;
  return value.find_first_of(": /\t") == std::string::npos ? "" : "the name of a region is expected";
}

std::string ReadPathStyle(const std::string& value, ServerConfig& config) {
  return ReadYesOrNo(value, config.bucket.pathStyle);
}

std::string ReadAccessKey(const std::string& value, ServerConfig& config) {
  config.bucket.accessKey = value;
  return "";
}

std::string ReadSecretKey(const std::string& value, ServerConfig& config) {
  config.bucket.secretKey = value;
  return "";
}

std::string ReadCredentialsFile(const std::string& value, ServerConfig& config) {
  return ReadFilePath(value, config.bucket.credentialsFile);
}

std::string ReadCaFileKey(const std::string& value, ServerConfig& config) {
  return ReadCaFile(value, config.bucket);
}

std::string ReadAllowHttp(const std::string& value, ServerConfig& config) {
  return ReadYesOrNo(value, config.bucket.allowHttp);
}

constexpr std::array<ServerKey, 19> kKeys = {{{"repository", ReadRepository},
                                              {"catalog", ReadCatalog, true},
                                              {"catalog_schema", ReadCatalogSchema},
                                              {"compression", ReadCompression},
                                              {"fresh_after", ReadFreshAfter},
                                              {"grace", ReadGrace},
                                              {"in_place", ReadInPlace},
                                              {"user", ReadUser},
                                              {"password", ReadPassword, true},
                                              {"secret_file", ReadSecretFile},
                                              {"key_file", ReadKeyFile},
                                              {"endpoint", ReadEndpointKey, true},
                                              {"region", ReadRegion},
                                              {"path_style", ReadPathStyle},
                                              {"access_key", ReadAccessKey, true},
                                              {"secret_key", ReadSecretKey, true},
                                              {"credentials_file", ReadCredentialsFile},
                                              {"ca_file", ReadCaFileKey},
                                              {"allow_http", ReadAllowHttp}}};

}  // namespace

std::span<const ServerKey> ServerKeys() { return kKeys; }

}  // namespace store
