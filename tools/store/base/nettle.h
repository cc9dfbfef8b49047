// nettle, loaded when its first function is called: a program that needs none of them does not load it.
#pragma once

#include <nettle/gcm.h>
#include <nettle/sha2.h>

#ifdef NETTLE_LIBRARY
#include "platform/late_library.h"

#define nettle_gcm_aes256_decrypt LATE_FUNCTION(NETTLE_LIBRARY, nettle_gcm_aes256_decrypt)
#define nettle_gcm_aes256_digest LATE_FUNCTION(NETTLE_LIBRARY, nettle_gcm_aes256_digest)
#define nettle_gcm_aes256_encrypt LATE_FUNCTION(NETTLE_LIBRARY, nettle_gcm_aes256_encrypt)
#define nettle_gcm_aes256_set_iv LATE_FUNCTION(NETTLE_LIBRARY, nettle_gcm_aes256_set_iv)
#define nettle_gcm_aes256_set_key LATE_FUNCTION(NETTLE_LIBRARY, nettle_gcm_aes256_set_key)
#define nettle_gcm_aes256_update LATE_FUNCTION(NETTLE_LIBRARY, nettle_gcm_aes256_update)
#define nettle_sha256_digest LATE_FUNCTION(NETTLE_LIBRARY, nettle_sha256_digest)
#define nettle_sha256_init LATE_FUNCTION(NETTLE_LIBRARY, nettle_sha256_init)
#define nettle_sha256_update LATE_FUNCTION(NETTLE_LIBRARY, nettle_sha256_update)
#endif
