// Logging, in two channels: trace lines and leveled records. One call is one line of the log, with time, process
// address, thread and location; control characters in it are escaped (\n, \x1B). All operations may be called from any
// thread, before a process is made and after it is gone (then to standard error), and never throw.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/export.h"

namespace FrameUtil {

// Writes a printf-style trace line.
FRAME_API void Trace(const char* format, ...) __attribute__((format(printf, 1, 2)));
// The same at information level: the line is a record of kind info without a location, and is written when those are.
FRAME_API void TraceInfo(const char* format, ...) __attribute__((format(printf, 1, 2)));
// The same at error level: the line is a record of kind error with this code and without a location, and is written
// when those are. A negative code shows as its 32-bit two's complement.
FRAME_API void TraceError(int code, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace FrameUtil

// Traces that a function is entered and left, for as long as it lives: the lines "enter FUNCTION (FILE:LINE)" and
// "leave FUNCTION". Texts that are not empty follow the first one, a blank before each. Null counts as empty.
class FRAME_API OrigFuncTraceGuard {
public:
    // `function` must outlive the guard.
    OrigFuncTraceGuard(const char* file, int line, const char* function, const char* text1, const char* text2);
    ~OrigFuncTraceGuard();
    OrigFuncTraceGuard(const OrigFuncTraceGuard&) = delete;
    OrigFuncTraceGuard& operator=(const OrigFuncTraceGuard&) = delete;

private:
    const char* function_;
};

// Where a record comes from.
struct LocationInfo {
    const char* file;      // name of the source file
    const char* function;  // null-terminated, as is `file`; both must outlive the call only
    int line;
};

// Leveled records.
class FRAME_API LogProcess {
public:
    static void Debug(const std::string& text, const LocationInfo& location);
    static void Info(const std::string& text, const LocationInfo& location);
    // `code`: a 32-bit number that tells the kind of error, printed in hexadecimal.
    static void Error(std::uint32_t code, const std::string& text, const LocationInfo& location);
    static void Error(std::uint32_t code, const char* text, const LocationInfo& location);
    // Whether an Info record would be written or captured: for callers to whom making its text is dear.
    static bool infoEnabled();
};

namespace frame {

enum class LogLevel { debug, info, error, off };

struct LogOptions {
    std::string file;                 // empty: standard error
    LogLevel level = LogLevel::info;  // records below it are not written
    bool trace = true;                // whether trace lines are written
};

// Where the log goes from now on. Throws std::runtime_error, which names the file, when it cannot be opened for
// appending; the log then stays as it was. `processType` and `processHandle` stand in every line.
FRAME_API void openLog(const LogOptions& options, std::uint16_t processType, std::uint16_t processHandle);
// Back to standard error with default options and address 0:0.
FRAME_API void closeLog();

// One line of the log.
struct LogRecord {
    enum class Kind { trace, debug, info, error };
    Kind kind = Kind::trace;
    std::uint32_t code = 0;  // of errors
    std::string text;        // as given, not escaped
    std::string function;    // of leveled records
};

// While it lives, keeps what this thread logs, beside its being written. The innermost one of a thread keeps it.
class FRAME_API LogCapture {
public:
    // Called for each record once it is kept, on the thread that logs it. Must not log or throw.
    using Watcher = std::function<void(const LogRecord&)>;

    explicit LogCapture(Watcher watcher = {});
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    const std::vector<LogRecord>& records() const { return records_; }

private:
    friend struct LogCaptureAccess;
    std::vector<LogRecord> records_;
    Watcher watcher_;
    LogCapture* outer_;
};

}  // namespace frame
