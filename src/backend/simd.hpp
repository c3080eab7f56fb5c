// Run-time choice of vector instructions for the library's plain loops.
#pragma once

// Compiles a function once per instruction set and picks the clone the machine supports when the library
// loads, so that the build itself assumes no more than x86-64. Plain loops written to vectorise get the
// widest registers this way; FFTW makes the same choice for its own codelets.
// Not under ThreadSanitizer: the loader runs the clone resolvers before the sanitizer's runtime is up,
// and their instrumented entry crashes the process.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_THREAD__)
#define TESSEL_VECTOR_CLONES __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define TESSEL_VECTOR_CLONES
#endif
