#include "image/CException.h"

#include <cstdarg>
#include <cstdio>

namespace {
constexpr int kMessageBufferSize = 1000;
}

CException::CException(const char* pcFormat, ...)
{
    char acBuffer[kMessageBufferSize];
    va_list args;
    va_start(args, pcFormat);
    std::vsnprintf(acBuffer, sizeof acBuffer, pcFormat, args);
    va_end(args);
    m_sMessage = acBuffer;
}

CException::CException(const std::string& sMessage) : m_sMessage(sMessage) {}

CException::~CException() = default;

const char* CException::what() const noexcept { return m_sMessage.c_str(); }
