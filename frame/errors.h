// Failure reporting: the three channels by which an operation tells a script
// that something went wrong.
//   - nil plus a message, built into a 256-byte buffer ("%s [@%s: line %d]",
//     or with " - error=%08X" when the platform refused);
//   - a diagnostic line on standard error, headed by a local time stamp;
//   - a Lua error, raised only by the binding layer.
// Converters throw MPPConvException; the operation that converted turns it
// into nil plus a message.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <iostream>

struct tm;

struct lua_State;

namespace Tessel {

class DebugTime {
 public:
  DebugTime() {}
  // Writes "[MM-DD hh:mm:ss]" for the current local time into buf (32 bytes).
  const char* TimeString(char* buf) const;
};

std::ostream& operator<<(std::ostream& os, const DebugTime& t);

extern const DebugTime _TESSEL_DBG_TIME;

// Formats a broken-down local time as "[MM-DD hh:mm:ss]" into buf (32 bytes).
const char* formatTimeStamp(const struct tm& tm, char* buf);

class MPPConvException {
 public:
  explicit MPPConvException(const char* msg);
  const char* what() const { return m_msg; }

  char m_msg[256];
};

// Pushes nil and "<text> [@<func>: line <line>]"; returns 2.
int pushFailure(lua_State* L, const char* text, const char* func, int line);
// Pushes nil and "<text> [@<func>: line <line> - error=<code>]"; returns 2.
int pushFailure(lua_State* L, const char* text, const char* func, int line, std::int32_t code);
// Pushes nil and the text alone (placeholders that refuse); returns 2.
int pushRefusal(lua_State* L, const char* text);
// Pushes true; returns 1.
int pushSuccess(lua_State* L);
// The result of an operation that ends with one platform call: true when rc
// is success, else nil and "<text> [@<func>: line <line> - error=<rc>]".
int pushStatus(lua_State* L, std::int32_t rc, const char* text, const char* func, int line);

}  // namespace Tessel

// One diagnostic line on standard error, reported under the given name:
//   TESSEL_DIAG_AS("GetChannel", "Invalid VENC channel ID. Valid range is [0," << 128 << ")");
#define TESSEL_DIAG_AS(reporter, message)                                                   \
  (std::cerr << ::Tessel::_TESSEL_DBG_TIME << "(ERR) " << (reporter) << " (" << __LINE__ \
             << ") " << message << std::endl)
#define TESSEL_DIAG(message) TESSEL_DIAG_AS(__func__, message)

// nil-plus-message results naming the enclosing member function and line.
#define TESSEL_FAIL(L, text) ::Tessel::pushFailure((L), (text), __func__, __LINE__)
#define TESSEL_FAIL_CODE(L, text, code) \
  ::Tessel::pushFailure((L), (text), __func__, __LINE__, (code))
