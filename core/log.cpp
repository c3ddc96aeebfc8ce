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

void format(const char* fmt, ...) noexcept {
    if (!enabled()) return;
    char text[512];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(text, sizeof text, fmt, args);
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
