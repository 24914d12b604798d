#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

namespace trovix::fuzz {

// Starts the offscreen Qt the code under test needs (fonts for text annotations, image plugins) and
// silences Qt's warnings, which would only slow the fuzzer down.
void startQt(int* argc, char*** argv);

// Reports a broken promise of the code under test and aborts, so that libFuzzer keeps the input.
[[noreturn]] void broken(const char* what, const QString& detail = {});

inline QByteArray bytesOf(const uint8_t* data, size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), qsizetype(size));
}

} // namespace trovix::fuzz
