// Reading XML as a stream of events.

#pragma once

#include <cstdint>

#include "kor/string.h"

// How long an XML file may be, in bytes.
inline constexpr uint64_t kXmlSizeLimit = uint64_t{256} * 1024 * 1024;

// For each element: OnElementInit, OnElementAttr once per XML attribute, OnElementStart, then
// OnElementData for each piece of character data, and OnElementEnd. Names and data are UTF-8.
// Entities are those of XML itself and the document's internal ones, as long as they do not make
// more than 8 MiB and four times the document of it; external ones are not read.
class CsXmlSaxParser {
 public:
  virtual ~CsXmlSaxParser() = default;

  // False when the file cannot be opened, is too long or is not well-formed; the events before that
  // point have been delivered, and file, line and reason are in the framework's log and in the
  // accessors below. During the callbacks KorInputPosition::Current() names the file and line.
  bool ParseFile(const KorString& path);

  // From now on files that are longer are refused; kXmlSizeLimit at first.
  void LimitSize(uint64_t bytes) { sizeLimit = bytes; }

  const KorString& ErrorText() const { return errorText; }
  uint64_t ErrorLine() const { return errorLine; }

 protected:
  virtual void OnElementInit(const char* name);
  virtual void OnElementAttr(const char* name, const char* value);
  virtual void OnElementStart(const char* name);
  virtual void OnElementData(const char* data, unsigned long length);
  virtual void OnElementEnd(const char* name);

  // To be called in a callback: ends the reading with this reason; no further event is delivered.
  void Stop(const KorString& reason);

 private:
  struct Events;
  uint64_t sizeLimit = kXmlSizeLimit;
  KorString errorText;
  uint64_t errorLine = 0;
  bool stopRequested = false;
};
