#pragma once

// Marks the names that leave the shared library; everything else is built with hidden visibility.
#define TESSEL_FFT_API __attribute__((visibility("default")))
