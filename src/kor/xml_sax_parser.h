// Reading XML as a stream of events.

#pragma once

#include <cstdint>

#include "kor/string.h"

// For each element: OnElementInit, OnElementAttr once per XML attribute, OnElementStart, then
// OnElementData for each piece of character data, and OnElementEnd. Names and data are UTF-8.
// Entities are those of XML itself and the document's internal ones within expat's amplification
// limits; external ones are not read.
class CsXmlSaxParser {
 public:
  virtual ~CsXmlSaxParser() = default;

  // False when the file cannot be opened or is not well-formed; the events before that point have
  // been delivered, and file, line and reason are in the framework's log and in the accessors
  // below. During the callbacks KorInputPosition::Current() names the file and line.
  bool ParseFile(const KorString& path);

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
  KorString errorText;
  uint64_t errorLine = 0;
  bool stopRequested = false;
};
