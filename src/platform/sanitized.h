// Whether this is built with a sanitizer, which each compiler tells in its own way.
#pragma once

#ifdef __has_feature
#if __has_feature(address_sanitizer)
#define KV_SANITIZED_ADDRESS
#endif
#if __has_feature(thread_sanitizer)
#define KV_SANITIZED_THREAD
#endif
#endif

#ifdef __SANITIZE_ADDRESS__
#define KV_SANITIZED_ADDRESS
#endif
#ifdef __SANITIZE_THREAD__
#define KV_SANITIZED_THREAD
#endif
