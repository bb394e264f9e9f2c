// Files by path. Paths are bytes; a path with a NUL byte names no file.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "kor/string.h"

// Whether the system can be given this path: not empty and without a NUL byte, where the system
// would see the end of another path. When not, errno is ENOENT.
bool PathIsUsable(const KorString& path);

// Follows links; false also when it cannot be told, which is said in the framework's log. When
// false, the reason is left in errno.
bool FileExists(const KorString& path);

// Of a value of errno: whether nothing is there, rather than that it cannot be told.
bool MeansMissing(int error);

// Whether it is a device, a pipe or a socket, or a link to one: a file in its place would take it
// from everybody else on the machine, and who reads it may wait for ever.
bool FileIsSpecial(const KorString& path);

// True when the file is gone afterwards, also when it was not there. Folders are not removed. The
// flag is ignored.
bool FileDelete(const KorString& path, int flag = 1);

// Removes the folder with all that is in it; links are removed, not followed. True when it is gone
// afterwards, also when it was not there.
bool FolderDelete(const KorString& path);

// Replaces the target; the rename is made durable (folder fsync).
bool FileRename(const KorString& from, const KorString& to);

// Size in bytes, -1 when there is no such file. Folders are no files.
int64_t FileGetSize(const KorString& path);

// MD5 of the content in lower-case hex; empty when it cannot be read. A checksum, not a signature:
// it works where the system forbids MD5 for security (FIPS mode).
KorString FileMd5(const KorString& path);
// The same of a text in hand.
KorString TextMd5(const KorString& text);

// Creates the file, mode 0600, emptying one that exists; a link is not followed. A descriptor for
// FileWrite and FileClose, or -1. The flag is ignored.
int FileCreate(const KorString& path, int flag);
// Writes all of it; false on an error.
bool FileWrite(int descriptor, const char* data, size_t length);
// Makes what was written durable; true also where there is nothing to synchronise (a pipe).
bool FileSync(int descriptor);
// FileSync and close; false when one of them failed. The descriptor is closed in any case.
bool FileClose(int descriptor);

// Hands the content to `take` piece by piece until it answers false (which is no error). False with
// the reason in `error` ("No such file or directory"), and in errno, when it cannot be read to the
// end.
bool FileReadChunks(const KorString& path, const std::function<bool(std::string_view)>& take,
                    KorString& error);

// The whole content. False with the reason in `error`, as above, when it cannot be read or is
// longer than the limit (EFBIG).
bool FileReadAll(const KorString& path, std::string& content, KorString& error,
                 size_t limit = SIZE_MAX);

// Replaces the file whole or leaves it as it was (kor/atomic_file.h); then the reason is in the
// framework's log.
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
// with the reason in the framework's log; a partial file is removed. The flag is ignored.
int FileCopyNet(const KorString& url, const KorString& path, int flag = 0);
