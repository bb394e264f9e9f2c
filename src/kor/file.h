// Files by path. Paths are bytes; a path with a NUL byte names no file.

#pragma once

#include <cstddef>
#include <cstdint>

#include "kor/string.h"

// Follows links; false also when it cannot be told.
bool FileExists(const KorString& path);

// True when the file is gone afterwards, also when it was not there. Folders are not removed. The
// flag is ignored.
bool FileDelete(const KorString& path, int flag);

// Replaces the target; the rename is made durable (folder fsync).
bool FileRename(const KorString& from, const KorString& to);

// Size in bytes, -1 when there is no such file.
int64_t FileGetSize(const KorString& path);

// MD5 of the content in lower-case hex; empty when it cannot be read. A checksum, not a signature:
// it works where the system forbids MD5 for security (FIPS mode).
KorString FileMd5(const KorString& path);

// Creates the file, mode 0600, emptying one that exists. A descriptor for FileWrite and FileClose,
// or -1. The flag is ignored.
int FileCreate(const KorString& path, int flag);
// Writes all of it; false on an error.
bool FileWrite(int descriptor, const char* data, size_t length);
// Makes what was written durable and closes; false when that failed.
bool FileClose(int descriptor);

// The whole content. False with the reason in `error` when it cannot be read.
bool FileReadAll(const KorString& path, std::string& content, KorString& error);

// Replaces the file whole or leaves it as it was (kor/atomic_file.h).
bool SaveFileFromString(const KorString& path, const KorString& content);

// Creates the folder, with parents, mode 0750. True when it is there afterwards.
bool PathCreate(const KorString& path);

// Splits at the last separator ("/" or "\") and the last dot after it. The directory keeps its
// trailing separator; the drive is always empty (a path that begins with a drive letter has a
// directory part that does not begin with a separator); the extension keeps its dot. A name that
// begins with its only dot has no extension.
void SplitPath(const KorString& path, KorString& drive, KorString& directory, KorString& name,
               KorString& extension);

// The path made absolute against the working folder, with "." and ".." resolved in the text alone
// (links are not looked at) and repeated separators joined.
KorString CompletePath(const KorString& path);

// Fetches the URL (http, https, ftp, file) into the file. 0 when done; another number on failure,
// with the reason in the framework's log; a partial file is removed.
int FileCopyNet(const KorString& url, const KorString& path, int flag);
