// Log lines of the codecs. By default each text goes to standard output
// through C stdio, in call order; a caller may route them to a callback or
// switch them off (then no formatting work is done).
#ifndef ZMPAVA_CORE_LOG_H
#define ZMPAVA_CORE_LOG_H

#include <atomic>
#include <cstddef>

namespace pava::log {

namespace detail {
extern std::atomic<int> g_mode;  // a PavaLogMode value
}

inline bool enabled() noexcept {
    return detail::g_mode.load(std::memory_order_relaxed) != 1 /* PAVA_LOG_OFF */;
}

// Emits a text as it stands.
void write(const char* text) noexcept;

// Emits a printf-style text; formats only when logging is on.
void format(const char* fmt, ...) noexcept
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

// What format writes, into out as snprintf would (the result is the length
// the whole text has). Texts whose conversions are all "%%" or "%d" with an
// optional '-' or '0' flag and a width are put together without the C
// library's formatter.
int formatLine(char* out, size_t size, const char* fmt, ...) noexcept
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

namespace detail {
void encodeEntry(int id) noexcept;
void decodeEntry(int id) noexcept;
}  // namespace detail

// The texts every codec shares, with the five-digit id in place. The entry
// lines are printed on every call: with logging off they cost one load.
inline void encodeEntry(int id) noexcept {  // "Data_To_Pava_%05d!\n"
    if (enabled()) detail::encodeEntry(id);
}
inline void decodeEntry(int id) noexcept {  // "Pava_%05d_To_Data!\n"
    if (enabled()) detail::decodeEntry(id);
}
void headError(int id) noexcept;  // "error:: CPavaMsgAnalyze::Data_To_Pava_%05d set pava head erorr! "
void nullFrame(int id) noexcept;  // "error:: CPavaMsgAnalyze::Pava_%05d_To_Data pPavaMsg == NULL! "

}  // namespace pava::log

#endif
