#pragma once

#include <sys/resource.h>

// No file may grow beyond so many bytes while this lives: a full disk.
class SizeLimit {
 public:
  explicit SizeLimit(rlim_t size) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limited = {size, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
  }
  SizeLimit(const SizeLimit&) = delete;
  SizeLimit& operator=(const SizeLimit&) = delete;
  ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }

 private:
  rlimit before_ = {};
};
