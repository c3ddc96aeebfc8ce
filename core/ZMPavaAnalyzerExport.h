/* Calling convention and symbol visibility of the library's entry points,
 * shared by the C++ and the C interface (plain C, so both may include it). */
#ifndef ZMPAVAANALYZER_EXPORT_H
#define ZMPAVAANALYZER_EXPORT_H

#if defined(_WIN32)
#  define PAVA_CALL __cdecl
#  if defined(ZMPAVAANALYZER_BUILDING)
#    define PAVA_API __declspec(dllexport)
#  else
#    define PAVA_API __declspec(dllimport)
#  endif
#else
#  define PAVA_CALL
#  define PAVA_API __attribute__((visibility("default")))
#endif

#endif /* ZMPAVAANALYZER_EXPORT_H */
