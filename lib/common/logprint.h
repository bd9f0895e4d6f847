// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <list>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

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

/// Writes text of others so that nothing in it looks like the beginning of a line of the log. Bytes
/// below 0x20 and 0x7f become "\xNN", but tabs stay and line feeds get four blanks after them.
void write_harmless(std::ostream& stream, std::string_view text);

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

/// The same for text that ends with a null character. Literals of all lengths share this class.
class LogPrintableText : public LogPrintableContainerBase {
public:
    explicit LogPrintableText(const char* referenced) : text{referenced} {}

    [[nodiscard]] std::unique_ptr<LogPrintableContainerBase> clone() const override;
    void print(std::ostream& stream) const override;

private:
    const char* text;
};

using LogPrintableValue = std::unique_ptr<LogPrintableContainerBase>;

template <class T>
LogPrintableValue hold_log_value(const T& value) {
    return std::make_unique<LogPrintableContainer<T>>(value);
}
LogPrintableValue hold_log_value(const char* text);

/// One "key=value" field of a log line.
class LogPrintable {
public:
    LogPrintable(std::string field_key, LogPrintableValue field_value);
    template <class T>
    LogPrintable(std::string field_key, const T& field_value)
        : LogPrintable{std::move(field_key), hold_log_value(field_value)} {}
    LogPrintable(const LogPrintable& other) : key{other.key}, value{other.value->clone()} {}
    LogPrintable(LogPrintable&&) noexcept = default;
    LogPrintable& operator=(LogPrintable other) noexcept {
        key.swap(other.key);
        value.swap(other.value);
        return *this;
    }
    virtual ~LogPrintable() = default;

    /// Writes "key=value"; neither is quoted. The value is written by write_harmless().
    void print(std::ostream& stream) const;

private:
    std::string key;
    LogPrintableValue value;
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

using Fields = std::list<LogPrintable>;

/// How a logging statement hands an argument on. Statements whose arguments differ only in the
/// lengths of their literals share their functions, of which a program has hundreds otherwise.
template <class T>
using HandedOn =
    std::conditional_t<std::is_convertible_v<const T&, const char*>, const char*, const T&>;

void append_field(Fields& fields, const char* key, LogPrintableValue value);

template <class...>
void append_fields(Fields& /*fields*/) {}

template <class Key, class Value, class... Rest>
void append_fields(Fields& fields, Key key, Value value, Rest... rest) {
    append_field(fields, key, hold_log_value(value));
    append_fields<Rest...>(fields, rest...);
}

template <class... Arguments>
void print_line(LogPrint& logger, const char* level, const char* file, int line,
                const char* function, Arguments... keys_and_values) {
    Fields list;
    append_fields<Arguments...>(list, keys_and_values...);
    logger.print(level, file, line, function, std::move(list));
}

template <class... KeysAndValues>
void print(LogPrint& logger, const char* level, const char* file, int line, const char* function,
           const KeysAndValues&... keys_and_values) {
    print_line<HandedOn<KeysAndValues>...>(logger, level, file, line, function, keys_and_values...);
}

}  // namespace log_detail
}  // namespace zephran

/// ZLOG_INFO("event", "retrying", "retries", retries) logs alternating keys and values. The
/// arguments are not evaluated when the logger is off.
#define ZEPHRAN_LOG(logger, level, function, ...)                                     \
    do {                                                                              \
        if ((logger).enabled) {                                                       \
            ::zephran::log_detail::print(logger, level, __FILE__, __LINE__, function, \
                                         __VA_ARGS__);                                \
        }                                                                             \
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
