// The XML answers of a store that speaks the S3 protocol, read with expat.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace store {

// The document of an answer that is not good. The texts are empty if it is no such document.
struct S3Error {
  std::string code;
  std::string message;
};
[[nodiscard]] S3Error ParseS3Error(std::string_view xml);

// One page of a list of objects.
struct S3Page {
  struct Object {
    std::string key;
    std::uint64_t size = 0;
  };
  std::vector<Object> objects;
  bool isLast = true;
  std::string next;  // continues the list after this page
};
// False if it is no such document, or not all of it.
[[nodiscard]] bool ParseS3Page(std::string_view xml, S3Page& page);

// A size as this protocol writes it: decimal digits, and nothing else.
[[nodiscard]] bool ReadSize(const std::string& text, std::uint64_t& size);

// The rule by which a bucket keeps its objects, such as "GOVERNANCE 30 Days"; empty if it has none. False if
// it is no such document.
[[nodiscard]] bool ParseObjectLock(std::string_view xml, std::string& rule);

}  // namespace store
