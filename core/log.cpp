#include "log.h"

#include <cstdarg>
#include <cstdio>

#include "ZMPavaAnalyzer.h"

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

void encodeEntry(int id) noexcept { format("Data_To_Pava_%05d!\n", id); }
void decodeEntry(int id) noexcept { format("Pava_%05d_To_Data!\n", id); }
void headError(int id) noexcept {
    format("error:: CPavaMsgAnalyze::Data_To_Pava_%05d set pava head erorr! ", id);
}
void nullFrame(int id) noexcept {
    format("error:: CPavaMsgAnalyze::Pava_%05d_To_Data pPavaMsg == NULL! ", id);
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
