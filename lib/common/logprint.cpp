// SPDX-License-Identifier: Apache-2.0
#include "common/logprint.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace zephran {

std::mutex LogPrint::m_mutex;

LogPrint debug_logger{std::cout};
LogPrint info_logger{std::cout};
LogPrint warning_logger{std::cout};
LogPrint error_logger{std::cerr};

namespace {

std::string current_utc_time() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm broken_down{};
    std::array<char, 9> text{};
    if (gmtime_r(&now, &broken_down) == nullptr ||
        std::strftime(text.data(), text.size(), "%H:%M:%S", &broken_down) == 0) {
        return "00:00:00";
    }
    return text.data();
}

std::string_view base_name(std::string_view path) {
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

bool is_control(char character) {
    // char is unsigned on the gateways.
    const auto code = static_cast<unsigned char>(character);
    return (code < 0x20 && code != '\t') || code == 0x7f;
}

}  // namespace

void write_harmless(std::ostream& stream, std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto* rest = text.begin();
    while (rest != text.end()) {
        const auto* const next = std::find_if(rest, text.end(), is_control);
        stream.write(&*rest, next - rest);
        rest = next;
        if (rest == text.end()) {
            return;
        }
        if (*rest == '\n') {
            stream << "\n    ";
        } else {
            const auto code = static_cast<unsigned char>(*rest);
            stream << "\\x" << digits[code / digits.size()] << digits[code % digits.size()];
        }
        ++rest;
    }
}

void render_log_value(std::ostream& stream, const std::chrono::milliseconds& duration) {
    const auto hours = std::chrono::duration_cast<std::chrono::hours>(duration);
    const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(duration - hours);
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(duration - hours - minutes);
    const char fill = stream.fill('0');
    stream << std::setw(2) << hours.count() << "h:" << std::setw(2) << minutes.count()
           << "m:" << std::setw(2) << seconds.count() << 's';
    stream.fill(fill);
}

void render_log_value(std::ostream& stream, const std::chrono::system_clock::time_point& time) {
    constexpr std::size_t length_without_line_end = 24;
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::array<char, 64> text{};
    if (ctime_r(&seconds, text.data()) != nullptr) {
        stream << std::string_view{text.data()}.substr(0, length_without_line_end);
    }
}

std::unique_ptr<LogPrintableContainerBase> LogPrintableText::clone() const {
    return std::make_unique<LogPrintableText>(*this);
}

void LogPrintableText::print(std::ostream& stream) const {
    stream << text;
}

LogPrintableValue hold_log_value(const char* text) {
    return std::make_unique<LogPrintableText>(text);
}

LogPrintable::LogPrintable(std::string field_key, LogPrintableValue field_value)
    : key{std::move(field_key)}, value{std::move(field_value)} {}

void LogPrintable::print(std::ostream& stream) const {
    std::ostringstream text;
    value->print(text);
    stream << key << '=';
    write_harmless(stream, text.str());
}

void LogPrint::print(const char* level, const char* file, int line, const char* function,
                     std::list<LogPrintable>&& fields) {
    if (!enabled) {
        return;
    }
    std::ostringstream text;
    text << current_utc_time() << ' ' << level << ' ' << base_name(file) << ':' << line << ' '
         << function << ':';
    for (const LogPrintable& field : fields) {
        text << ' ';
        field.print(text);
    }
    text << '\n';

    const std::lock_guard<std::mutex> lock{m_mutex};
    *stream << text.str();
}

void log_detail::append_field(Fields& fields, const char* key, LogPrintableValue value) {
    fields.emplace_back(key, std::move(value));
}

void set_log_level(const std::string& level) {
    debug_logger.enabled = level == "DEBUG";
    info_logger.enabled = debug_logger.enabled || level == "INFO";
    warning_logger.enabled = info_logger.enabled || level == "WARNING";
    error_logger.enabled = true;
}

}  // namespace zephran
