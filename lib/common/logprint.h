// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <list>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>

namespace zephran {

/// Writes one value of a log line.
template <class T>
void render_log_value(std::ostream& stream, const T& value) {
    stream << value;
}

/// "HHh:MMm:SSs", fractions of a second dropped, hours not limited to two digits.
void render_log_value(std::ostream& stream, const std::chrono::milliseconds& duration);

/// Local time in the form of ctime(3) without its line end: "Thu Nov 12 09:15:02 2026".
void render_log_value(std::ostream& stream, const std::chrono::system_clock::time_point& time);

/// Type-erased value of a log field.
class LogPrintableContainerBase {
public:
    virtual ~LogPrintableContainerBase() = default;
    [[nodiscard]] virtual std::unique_ptr<LogPrintableContainerBase> clone() const = 0;
    virtual void print(std::ostream& stream) const = 0;

protected:
    LogPrintableContainerBase() = default;
    LogPrintableContainerBase(const LogPrintableContainerBase&) = default;
    LogPrintableContainerBase& operator=(const LogPrintableContainerBase&) = default;
};

/// Refers to the caller's value, which must outlive the logging statement; it is never copied.
template <class T>
class LogPrintableContainer : public LogPrintableContainerBase {
public:
    explicit LogPrintableContainer(const T& referenced) : value{&referenced} {}

    [[nodiscard]] std::unique_ptr<LogPrintableContainerBase> clone() const override {
        return std::make_unique<LogPrintableContainer>(*this);
    }
    void print(std::ostream& stream) const override { render_log_value(stream, *value); }

private:
    const T* value;
};

/// One "key=value" field of a log line.
class LogPrintable {
public:
    template <class T>
    LogPrintable(std::string field_key, const T& field_value)
        : key{std::move(field_key)},
          value{std::make_unique<LogPrintableContainer<T>>(field_value)} {}
    LogPrintable(const LogPrintable& other) : key{other.key}, value{other.value->clone()} {}
    LogPrintable(LogPrintable&&) noexcept = default;
    LogPrintable& operator=(LogPrintable other) noexcept {
        key.swap(other.key);
        value.swap(other.value);
        return *this;
    }
    virtual ~LogPrintable() = default;

    /// Writes "key=value"; neither is quoted. Bytes of the value below 0x20 and 0x7f are written as
    /// "\xNN", but tabs as they are and line feeds with four blanks after them.
    void print(std::ostream& stream) const;

private:
    std::string key;
    std::unique_ptr<LogPrintableContainerBase> value;
};

/// A logger of one severity. All loggers share one mutex, so that whole lines never mix, whichever
/// threads and severities they come from. `enabled` is set before a second thread exists.
class LogPrint {
public:
    /// @param target must outlive the logger; it is never flushed here.
    constexpr explicit LogPrint(std::ostream& target) : stream{&target} {}

    /// Writes "HH:MM:SS LEVEL file:line function: key=value ..." and a line end; nothing if the
    /// logger is not enabled. The time is UTC.
    ///
    /// @param level    the severity word that belongs to this logger
    /// @param file     path of the calling source file; its base name is written
    /// @param function unqualified name of the calling function
    void print(const char* level, const char* file, int line, const char* function,
               std::list<LogPrintable>&& fields);

    bool enabled = true;

private:
    std::ostream* stream;
    static std::mutex m_mutex;
};

extern LogPrint debug_logger;    ///< to standard output
extern LogPrint info_logger;     ///< to standard output
extern LogPrint warning_logger;  ///< to standard output
extern LogPrint error_logger;    ///< to standard error

/// Switches on exactly the loggers whose level is the chosen one or above.
/// @param level "DEBUG", "INFO", "WARNING" or "ERROR"; anything else leaves only ERROR.
void set_log_level(const std::string& level);

namespace log_detail {

inline void append_fields(std::list<LogPrintable>& /*fields*/) {}

template <class Value, class... Rest>
void append_fields(std::list<LogPrintable>& fields, const char* key, const Value& value,
                   const Rest&... rest) {
    fields.emplace_back(key, value);
    append_fields(fields, rest...);
}

template <class... KeysAndValues>
std::list<LogPrintable> fields(const KeysAndValues&... keys_and_values) {
    std::list<LogPrintable> list;
    append_fields(list, keys_and_values...);
    return list;
}

}  // namespace log_detail
}  // namespace zephran

/// ZLOG_INFO("event", "retrying", "retries", retries) logs alternating keys and values. The
/// arguments are not evaluated when the logger is off.
#define ZEPHRAN_LOG(logger, level, function, ...)                       \
    do {                                                                \
        if ((logger).enabled) {                                         \
            (logger).print(level, __FILE__, __LINE__, function,         \
                           ::zephran::log_detail::fields(__VA_ARGS__)); \
        }                                                               \
    } while (false)

#define ZLOG_DEBUG(...) ZEPHRAN_LOG(::zephran::debug_logger, "DEBUG", __func__, __VA_ARGS__)
#define ZLOG_INFO(...) ZEPHRAN_LOG(::zephran::info_logger, "INFO", __func__, __VA_ARGS__)
#define ZLOG_WARNING(...) ZEPHRAN_LOG(::zephran::warning_logger, "WARNING", __func__, __VA_ARGS__)
#define ZLOG_ERROR(...) ZEPHRAN_LOG(::zephran::error_logger, "ERROR", __func__, __VA_ARGS__)

/// The same for a line that names another function than the one it stands in.
#define ZLOG_DEBUG_AS(function, ...) \
    ZEPHRAN_LOG(::zephran::debug_logger, "DEBUG", function, __VA_ARGS__)
#define ZLOG_INFO_AS(function, ...) \
    ZEPHRAN_LOG(::zephran::info_logger, "INFO", function, __VA_ARGS__)
#define ZLOG_WARNING_AS(function, ...) \
    ZEPHRAN_LOG(::zephran::warning_logger, "WARNING", function, __VA_ARGS__)
#define ZLOG_ERROR_AS(function, ...) \
    ZEPHRAN_LOG(::zephran::error_logger, "ERROR", function, __VA_ARGS__)
