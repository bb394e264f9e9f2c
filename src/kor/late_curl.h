// libcurl, loaded when it is first called. A source that says
//   using late_curl::curl_easy_init;
// in a namespace of its own calls it there as the library's manual says.

#pragma once

#include <curl/curl.h>

#include "kor/late_function.h"

namespace late_curl {

// In braces: libcurl makes macros of some of the names.
inline const KorLateFunction<decltype(&::curl_easy_cleanup)> curl_easy_cleanup{"curl_easy_cleanup"};
inline const KorLateFunction<decltype(&::curl_easy_getinfo)> curl_easy_getinfo{"curl_easy_getinfo"};
inline const KorLateFunction<decltype(&::curl_easy_init)> curl_easy_init{"curl_easy_init"};
inline const KorLateFunction<decltype(&::curl_easy_perform)> curl_easy_perform{"curl_easy_perform"};
inline const KorLateFunction<decltype(&::curl_easy_reset)> curl_easy_reset{"curl_easy_reset"};
inline const KorLateFunction<decltype(&::curl_easy_setopt)> curl_easy_setopt{"curl_easy_setopt"};
inline const KorLateFunction<decltype(&::curl_easy_strerror)> curl_easy_strerror{
    "curl_easy_strerror"};
inline const KorLateFunction<decltype(&::curl_free)> curl_free{"curl_free"};
inline const KorLateFunction<decltype(&::curl_global_init)> curl_global_init{"curl_global_init"};
inline const KorLateFunction<decltype(&::curl_multi_add_handle)> curl_multi_add_handle{
    "curl_multi_add_handle"};
inline const KorLateFunction<decltype(&::curl_multi_cleanup)> curl_multi_cleanup{
    "curl_multi_cleanup"};
inline const KorLateFunction<decltype(&::curl_multi_info_read)> curl_multi_info_read{
    "curl_multi_info_read"};
inline const KorLateFunction<decltype(&::curl_multi_init)> curl_multi_init{"curl_multi_init"};
inline const KorLateFunction<decltype(&::curl_multi_perform)> curl_multi_perform{
    "curl_multi_perform"};
inline const KorLateFunction<decltype(&::curl_multi_poll)> curl_multi_poll{"curl_multi_poll"};
inline const KorLateFunction<decltype(&::curl_multi_remove_handle)> curl_multi_remove_handle{
    "curl_multi_remove_handle"};
inline const KorLateFunction<decltype(&::curl_multi_wakeup)> curl_multi_wakeup{"curl_multi_wakeup"};
inline const KorLateFunction<decltype(&::curl_slist_append)> curl_slist_append{"curl_slist_append"};
inline const KorLateFunction<decltype(&::curl_slist_free_all)> curl_slist_free_all{
    "curl_slist_free_all"};
inline const KorLateFunction<decltype(&::curl_url)> curl_url{"curl_url"};
inline const KorLateFunction<decltype(&::curl_url_cleanup)> curl_url_cleanup{"curl_url_cleanup"};
inline const KorLateFunction<decltype(&::curl_url_get)> curl_url_get{"curl_url_get"};
inline const KorLateFunction<decltype(&::curl_url_set)> curl_url_set{"curl_url_set"};
inline const KorLateFunction<decltype(&::curl_version_info)> curl_version_info{"curl_version_info"};

}  // namespace late_curl
