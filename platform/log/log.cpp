// The log: what is written where, by one spdlog logger of our own. spdlog's registry is not used: it is destroyed when
// the program exits, while other threads may still log; the state here never is.
#include "platform/log.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "log/escape.h"

namespace frame {

struct LogCaptureAccess {
    static void keep(LogCapture& capture, LogRecord record) {
        capture.records_.push_back(std::move(record));
        if (capture.watcher_) capture.watcher_(capture.records_.back());
    }
    static LogCapture*& outer(LogCapture& capture) { return capture.outer_; }
};

namespace {

using Kind = LogRecord::Kind;

thread_local LogCapture* innermostCapture = nullptr;

// Makes room for a whole line at once: otherwise the room for a long one grows by half when its end is appended.
class RoomyFormatter : public spdlog::formatter {
public:
    explicit RoomyFormatter(std::unique_ptr<spdlog::formatter> inner) : inner_(std::move(inner)) {}

    void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) override {
        constexpr std::size_t beside = 100;  // time, address, thread, line end
        line.reserve(message.payload.size() + beside);
        inner_->format(message, line);
    }
    std::unique_ptr<spdlog::formatter> clone() const override {
        return std::make_unique<RoomyFormatter>(inner_->clone());
    }

private:
    std::unique_ptr<spdlog::formatter> inner_;
};

std::shared_ptr<spdlog::logger> makeLogger(spdlog::sink_ptr sink, std::uint16_t type, std::uint16_t handle) {
    auto logger = std::make_shared<spdlog::logger>("nec", std::move(sink));
    const std::string pattern = fmt::format("%Y-%m-%dT%H:%M:%S.%e%z {}:{} %t %v", type, handle);
    logger->set_formatter(std::make_unique<RoomyFormatter>(std::make_unique<spdlog::pattern_formatter>(pattern)));
    logger->set_level(spdlog::level::trace);
    // A line that was logged is in the file even when the process is killed next.
    logger->flush_on(spdlog::level::trace);
    return logger;
}

spdlog::sink_ptr openSink(const std::string& file) {
    if (file.empty()) return std::make_shared<spdlog::sinks::stderr_sink_mt>();
    try {
        return std::make_shared<spdlog::sinks::basic_file_sink_mt>(file);
    } catch (const spdlog::spdlog_ex& error) {
        throw std::runtime_error("log file " + file + ": " + error.what());
    }
}

class Log {
public:
    static Log& instance() {
        static Log& log = *new Log;
        return log;
    }

    void open(const LogOptions& options, std::uint16_t type, std::uint16_t handle) {
        set(makeLogger(openSink(options.file), type, handle), options);
    }
    void close() { set(standard_, LogOptions{}); }

    bool writes(Kind kind) const {
        const LogLevel level = level_.load(std::memory_order_relaxed);
        switch (kind) {
            case Kind::trace:
                return trace_.load(std::memory_order_relaxed);
            case Kind::debug:
                return level <= LogLevel::debug;
            case Kind::info:
                return level <= LogLevel::info;
            case Kind::error:
                return level <= LogLevel::error;
        }
        return false;
    }

    void write(const std::string& line) { current()->log(spdlog::level::info, line); }

private:
    Log() : standard_(makeLogger(openSink({}), 0, 0)), current_(standard_) {}

    void set(std::shared_ptr<spdlog::logger> logger, const LogOptions& options) {
        const std::lock_guard lock(mutex_);
        current_.swap(logger);
        level_.store(options.level, std::memory_order_relaxed);
        trace_.store(options.trace, std::memory_order_relaxed);
    }
    std::shared_ptr<spdlog::logger> current() {
        const std::lock_guard lock(mutex_);
        return current_;
    }

    const std::shared_ptr<spdlog::logger> standard_;
    std::mutex mutex_;
    std::shared_ptr<spdlog::logger> current_;
    std::atomic<LogLevel> level_{LogOptions{}.level};
    std::atomic<bool> trace_{LogOptions{}.trace};
};

bool wanted(Kind kind) {
    return innermostCapture != nullptr || Log::instance().writes(kind);
}

const char* nameOf(Kind kind) {
    constexpr std::array<const char*, 4> names{"TRACE", "DEBUG", "INFO", "ERROR"};
    return names[static_cast<std::size_t>(kind)];
}

const char* orEmpty(const char* text) {
    return text != nullptr ? text : "";
}

std::string lineOf(const LogRecord& record, const LocationInfo* location) {
    std::string line = nameOf(record.kind);
    line += ' ';
    if (record.kind == Kind::error) line += fmt::format("0x{:08X} ", record.code);
    if (location != nullptr) {
        appendEscaped(line, orEmpty(location->file));
        line += fmt::format(":{} ", location->line);
        appendEscaped(line, record.function);
        line += ' ';
    }
    appendEscaped(line, record.text);
    return line;
}

void submit(LogRecord record, const LocationInfo* location) {
    const bool written = Log::instance().writes(record.kind);
    const std::string line = written ? lineOf(record, location) : std::string();
    if (innermostCapture != nullptr)
        LogCaptureAccess::keep(*innermostCapture, std::move(record));
    else
        std::string().swap(record.text);  // a long text does not take memory beside its line
    if (written) Log::instance().write(line);
}

// What is logged is lost when there is no memory for it: the caller must not fail because of its log.
void submitLeveled(Kind kind, std::uint32_t code, std::string_view text, const LocationInfo& location) noexcept try {
    if (!wanted(kind)) return;
    submit({kind, code, std::string(text), std::string(orEmpty(location.function))}, &location);
} catch (const std::exception&) {
}

std::string formatted(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    std::array<char, 512> buffer{};
    const int size = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    std::string text;
    if (size < 0) {
        text = format;
    } else if (static_cast<std::size_t>(size) < buffer.size()) {
        text.assign(buffer.data(), static_cast<std::size_t>(size));
    } else {
        text.resize(static_cast<std::size_t>(size));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

void submitFormatted(Kind kind, std::uint32_t code, const char* format, std::va_list arguments) noexcept try {
    if (wanted(kind)) submit({kind, code, formatted(format, arguments), {}}, nullptr);
} catch (const std::exception&) {
    // Out of memory: as in submitLeveled.
}

}  // namespace

void openLog(const LogOptions& options, std::uint16_t processType, std::uint16_t processHandle) {
    Log::instance().open(options, processType, processHandle);
}

void closeLog() {
    Log::instance().close();
}

LogCapture::LogCapture(Watcher watcher) : watcher_(std::move(watcher)), outer_(std::exchange(innermostCapture, this)) {}

LogCapture::~LogCapture() {
    LogCapture** link = &innermostCapture;
    while (*link != this) link = &LogCaptureAccess::outer(**link);
    *link = outer_;
}

}  // namespace frame

void FrameUtil::Trace(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    frame::submitFormatted(frame::Kind::trace, 0, format, arguments);
    va_end(arguments);
}

void FrameUtil::TraceInfo(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    frame::submitFormatted(frame::Kind::info, 0, format, arguments);
    va_end(arguments);
}

void FrameUtil::TraceError(int code, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    frame::submitFormatted(frame::Kind::error, static_cast<std::uint32_t>(code), format, arguments);
    va_end(arguments);
}

OrigFuncTraceGuard::OrigFuncTraceGuard(const char* file, int line, const char* function, const char* text1,
                                       const char* text2)
    : function_(frame::orEmpty(function)) {
    const auto blankBefore = [](const char* text) { return *text != '\0' ? " " : ""; };
    text1 = frame::orEmpty(text1);
    text2 = frame::orEmpty(text2);
    FrameUtil::Trace("enter %s (%s:%d)%s%s%s%s", function_, frame::orEmpty(file), line, blankBefore(text1), text1,
                     blankBefore(text2), text2);
}

OrigFuncTraceGuard::~OrigFuncTraceGuard() {
    FrameUtil::Trace("leave %s", function_);
}

void LogProcess::Debug(const std::string& text, const LocationInfo& location) {
    frame::submitLeveled(frame::Kind::debug, 0, text, location);
}

void LogProcess::Info(const std::string& text, const LocationInfo& location) {
    frame::submitLeveled(frame::Kind::info, 0, text, location);
}

void LogProcess::Error(std::uint32_t code, const std::string& text, const LocationInfo& location) {
    frame::submitLeveled(frame::Kind::error, code, text, location);
}

void LogProcess::Error(std::uint32_t code, const char* text, const LocationInfo& location) {
    frame::submitLeveled(frame::Kind::error, code, frame::orEmpty(text), location);
}

bool LogProcess::infoEnabled() {
    return frame::wanted(frame::Kind::info);
}
