// libcurl, loaded when the first bucket is used.
#pragma once

#include <curl/curl.h>

#ifdef CURL_LIBRARY
#include "platform/late_library.h"

#undef curl_easy_getinfo
#undef curl_easy_setopt
#define curl_global_init LATE_FUNCTION(CURL_LIBRARY, curl_global_init)
#define curl_easy_getinfo LATE_FUNCTION(CURL_LIBRARY, curl_easy_getinfo)
#define curl_easy_init LATE_FUNCTION(CURL_LIBRARY, curl_easy_init)
#define curl_easy_cleanup LATE_FUNCTION(CURL_LIBRARY, curl_easy_cleanup)
#define curl_easy_reset LATE_FUNCTION(CURL_LIBRARY, curl_easy_reset)
#define curl_easy_setopt LATE_FUNCTION(CURL_LIBRARY, curl_easy_setopt)
#define curl_easy_perform LATE_FUNCTION(CURL_LIBRARY, curl_easy_perform)
#define curl_easy_strerror LATE_FUNCTION(CURL_LIBRARY, curl_easy_strerror)
#define curl_slist_append LATE_FUNCTION(CURL_LIBRARY, curl_slist_append)
#define curl_slist_free_all LATE_FUNCTION(CURL_LIBRARY, curl_slist_free_all)
#endif
