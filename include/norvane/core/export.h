// Export control for libNorvaneCore.
//
// The library is compiled with hidden visibility; everything that belongs to its
// public surface is marked with NORVANE_API, the only export macro. C functions are
// declared between NORVANE_BEGIN_C_DECLS and NORVANE_END_C_DECLS so that they keep
// their plain names for C callers and language bindings.
#ifndef NORVANE_CORE_EXPORT_H_
#define NORVANE_CORE_EXPORT_H_

#if defined(__GNUC__) || defined(__clang__)
#define NORVANE_API __attribute__((visibility("default")))
#else
#define NORVANE_API
#endif

#ifdef __cplusplus
#define NORVANE_BEGIN_C_DECLS extern "C" {
#define NORVANE_END_C_DECLS }
#else
#define NORVANE_BEGIN_C_DECLS
#define NORVANE_END_C_DECLS
#endif

#endif  // NORVANE_CORE_EXPORT_H_
