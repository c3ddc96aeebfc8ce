#include "log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "ZMPavaAnalyzer.h"
#include "field_codec.h"

namespace pava::log {

namespace detail {
std::atomic<int> g_mode{PAVA_LOG_STDOUT};
}

namespace {
std::atomic<PavaLogCallback> g_callback{nullptr};
std::atomic<void*> g_user{nullptr};

void emit(const char* text) noexcept {
    if (detail::g_mode.load(std::memory_order_acquire) == PAVA_LOG_CALLBACK) {
        PavaLogCallback callback = g_callback.load(std::memory_order_acquire);
        if (callback != nullptr) callback(text, g_user.load(std::memory_order_acquire));
        return;
    }
    std::fputs(text, stdout);
}
}  // namespace

void write(const char* text) noexcept {
    if (enabled()) emit(text);
}

namespace {

// One conversion of the forms the codecs' texts use: "%%", or "%d" with an
// optional '-' or '0' flag and a width.
struct Conversion {
    bool percent = false;
    bool left = false;
    bool zero = false;
    int width = 0;
    const char* next = nullptr;  // behind the conversion
};

bool parseConversion(const char* p, Conversion& c) noexcept {
    // p is behind the '%'.
    if (*p == '%') {
        c.percent = true;
        c.next = p + 1;
        return true;
    }
    for (;; ++p) {
        if (*p == '-')
            c.left = true;
        else if (*p == '0')
            c.zero = true;
        else
            break;
    }
    for (; *p >= '0' && *p <= '9'; ++p) {
        c.width = c.width * 10 + (*p - '0');
        if (c.width > 64) return false;
    }
    if (*p != 'd') return false;
    c.next = p + 1;
    return true;
}

bool plainConversionsOnly(const char* fmt) noexcept {
    for (const char* p = std::strchr(fmt, '%'); p != nullptr; p = std::strchr(p, '%')) {
        Conversion c;
        if (!parseConversion(p + 1, c)) return false;
        p = c.next;
    }
    return true;
}

// Appends bytes to a buffer of `size`, keeping the last byte for the
// terminator and dropping what does not fit, as snprintf does.
class Line {
public:
    Line(char* out, size_t size) noexcept : m_out(out), m_size(size) {}
    void put(const char* bytes, size_t n) noexcept {
        if (m_used + 1 < m_size) {
            const size_t room = m_size - 1 - m_used;
            std::memcpy(m_out + m_used, bytes, n < room ? n : room);
        }
        m_used += n;
    }
    void fill(char c, size_t n) noexcept {
        for (size_t i = 0; i < n; ++i) put(&c, 1);
    }
    int finish() noexcept {
        if (m_size > 0) m_out[m_used < m_size ? m_used : m_size - 1] = '\0';
        return static_cast<int>(m_used);
    }

private:
    char* m_out;
    size_t m_size;
    size_t m_used = 0;
};

int formatPlain(char* out, size_t size, const char* fmt, va_list args) noexcept {
    Line line(out, size);
    const char* p = fmt;
    for (const char* at = std::strchr(p, '%'); at != nullptr; at = std::strchr(p, '%')) {
        line.put(p, static_cast<size_t>(at - p));
        Conversion c;
        parseConversion(at + 1, c);
        p = c.next;
        if (c.percent) {
            line.put("%", 1);
            continue;
        }
        char digits[16];
        const int value = va_arg(args, int);
        const int n = formatDecimal(value, digits);
        const size_t pad = c.width > n ? static_cast<size_t>(c.width - n) : 0;
        if (c.left) {
            line.put(digits, static_cast<size_t>(n));
            line.fill(' ', pad);
        } else if (c.zero) {
            // The sign goes before the zeros.
            const size_t sign = value < 0 ? 1 : 0;
            line.put(digits, sign);
            line.fill('0', pad);
            line.put(digits + sign, static_cast<size_t>(n) - sign);
        } else {
            line.fill(' ', pad);
            line.put(digits, static_cast<size_t>(n));
        }
    }
    line.put(p, std::strlen(p));
    return line.finish();
}

// The codecs' texts take numbers only; anything else goes to the C library.
int formatArgs(char* out, size_t size, const char* fmt, va_list args) noexcept {
    return plainConversionsOnly(fmt) ? formatPlain(out, size, fmt, args) : std::vsnprintf(out, size, fmt, args);
}

}  // namespace

int formatLine(char* out, size_t size, const char* fmt, ...) noexcept {
    va_list args;
    va_start(args, fmt);
    const int n = formatArgs(out, size, fmt, args);
    va_end(args);
    return n;
}

void format(const char* fmt, ...) noexcept {
    if (!enabled()) return;
    char text[512];
    va_list args;
    va_start(args, fmt);
    formatArgs(text, sizeof text, fmt, args);
    va_end(args);
    emit(text);
}

namespace {

// A shared text with the id in place, put together without printf: the text
// before the id, the id as "%05d", the text after it.
template <size_t N, size_t M>
void withId(const char (&before)[N], int id, const char (&after)[M]) noexcept {
    if (!enabled()) return;
    char text[N + M + 16];
    std::memcpy(text, before, N - 1);
    const int digits = formatZeroPadded(id, 5, text + N - 1);
    std::memcpy(text + N - 1 + digits, after, M);  // with its terminator
    emit(text);
}

}  // namespace

void detail::encodeEntry(int id) noexcept { withId("Data_To_Pava_", id, "!\n"); }
void detail::decodeEntry(int id) noexcept { withId("Pava_", id, "_To_Data!\n"); }
void headError(int id) noexcept {
    withId("error:: CPavaMsgAnalyze::Data_To_Pava_", id, " set pava head erorr! ");
}
void nullFrame(int id) noexcept {
    withId("error:: CPavaMsgAnalyze::Pava_", id, "_To_Data pPavaMsg == NULL! ");
}

}  // namespace pava::log

extern "C" PAVA_API int PAVA_CALL Pava_SetLogOutput(int mode, PavaLogCallback callback, void* user) {
    using namespace pava::log;
    switch (mode) {
    case PAVA_LOG_STDOUT:
    case PAVA_LOG_OFF:
        detail::g_mode.store(mode, std::memory_order_release);
        return PAVA_OK;
    case PAVA_LOG_CALLBACK:
        if (callback == nullptr) return PAVA_ERR_NULL;
        // Publish the callback before the mode that makes it reachable.
        g_user.store(user, std::memory_order_release);
        g_callback.store(callback, std::memory_order_release);
        detail::g_mode.store(mode, std::memory_order_release);
        return PAVA_OK;
    default:
        return PAVA_ERR_NULL;
    }
}
