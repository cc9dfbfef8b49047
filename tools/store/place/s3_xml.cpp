#include "store/place/s3_xml.h"

#include <charconv>
#include <functional>
#include <memory>

#include "store/place/expat.h"

namespace store {
namespace {

// Gets each element when it ends: its path from the root, such as "Error/Code", and its text.
using EndOfElement = std::function<void(std::string_view path, const std::string& text)>;

struct Walk {
  std::string path;
  std::string text;
  const EndOfElement& ended;
};

struct ParserFreer {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

void Begin(void* data, const XML_Char* name, const XML_Char** /*attributes*/) {
  Walk& walk = *static_cast<Walk*>(data);
  walk.path += (walk.path.empty() ? "" : "/") + std::string(name);
  walk.text.clear();
}

void End(void* data, const XML_Char* /*name*/) {
  Walk& walk = *static_cast<Walk*>(data);
  walk.ended(walk.path, walk.text);
  const std::size_t slash = walk.path.rfind('/');
  walk.path.resize(slash == std::string::npos ? 0 : slash);
  walk.text.clear();
}

void Text(void* data, const XML_Char* text, int size) {
  static_cast<Walk*>(data)->text.append(text, static_cast<std::size_t>(size));
}

// False if the document is not well formed, or not whole.
bool WalkThrough(std::string_view xml, const EndOfElement& ended) {
  const std::unique_ptr<XML_ParserStruct, ParserFreer> parser(XML_ParserCreate(nullptr));
  if (parser == nullptr) {
    return false;
  }
  Walk walk = {"", "", ended};
  XML_SetUserData(parser.get(), &walk);
  XML_SetElementHandler(parser.get(), Begin, End);
  XML_SetCharacterDataHandler(parser.get(), Text);
  return XML_Parse(parser.get(), xml.data(), static_cast<int>(xml.size()), XML_TRUE) == XML_STATUS_OK;
}

}  // namespace

bool ReadSize(const std::string& text, std::uint64_t& size) {
  const char* end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, size);
  return error == std::errc() && stopped == end;
}

S3Error ParseS3Error(std::string_view xml) {
  S3Error found;
  (void)WalkThrough(xml, [&found](std::string_view path, const std::string& text) {
    if (path == "Error/Code") {
      found.code = text;
    } else if (path == "Error/Message") {
      found.message = text;
    }
  });
  return found;
}

bool ParseS3Page(std::string_view xml, S3Page& page) {
  page = S3Page();
  S3Page::Object object;
  bool isList = false;
  bool sizesAreNumbers = true;
  const bool whole = WalkThrough(xml, [&](std::string_view path, const std::string& text) {
    if (path == "ListBucketResult/Contents/Key") {
      object.key = text;
    } else if (path == "ListBucketResult/Contents/Size") {
      sizesAreNumbers = sizesAreNumbers && ReadSize(text, object.size);
    } else if (path == "ListBucketResult/Contents") {
      page.objects.push_back(std::move(object));
      object = {};
    } else if (path == "ListBucketResult/IsTruncated") {
      page.isLast = text != "true";
    } else if (path == "ListBucketResult/NextContinuationToken") {
      page.next = text;
    } else if (path == "ListBucketResult") {
      isList = true;
    }
  });
  return whole && isList && sizesAreNumbers && page.isLast == page.next.empty();
}

bool ParseObjectLock(std::string_view xml, std::string& rule) {
  rule.clear();
  bool isLock = false;
  const bool whole = WalkThrough(xml, [&](std::string_view path, const std::string& text) {
    constexpr std::string_view kRule = "ObjectLockConfiguration/Rule/DefaultRetention/";
    const std::string_view last = path.substr(path.rfind('/') + 1);
    if (path == "ObjectLockConfiguration") {
      isLock = true;
    } else if (path.starts_with(kRule)) {
      const std::string part = last == "Mode" ? text : text + " " + std::string(last);
      rule += (rule.empty() ? "" : " ") + part;
    }
  });
  return whole && isLock;
}

}  // namespace store
