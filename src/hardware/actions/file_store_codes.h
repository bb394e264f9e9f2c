// What a handler of received files answers to the file store.

#pragma once

#include <cstdint>

inline constexpr uint32_t FILESTORE_ERROR_BASE = 44000;
inline constexpr uint32_t FILESTORE_ERROR_HANDLERBUSY = FILESTORE_ERROR_BASE + 1;
inline constexpr uint32_t FILESTORE_ERROR_HANDLEROK = FILESTORE_ERROR_BASE + 2;
inline constexpr uint32_t FILESTORE_ERROR_HANDLERDELETE = FILESTORE_ERROR_BASE + 3;
inline constexpr uint32_t FILESTORE_ERROR_HANDLERIGNORED = FILESTORE_ERROR_BASE + 4;
inline constexpr uint32_t FILESTORE_ERROR_BADGUIDSCHEME = FILESTORE_ERROR_BASE + 5;
