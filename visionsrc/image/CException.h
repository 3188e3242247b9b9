#ifndef CEXCEPTION_H
#define CEXCEPTION_H

#include <exception>
#include <string>

// The library's only exception type. Its text is what the host shows the
// script author after "CImageException:".
class CException : public std::exception
{
public:
    // printf-style; the result is cut to 999 characters. Some call sites pass
    // arguments their format never consumes: the message is then the format
    // alone, which is the documented text of those errors.
    explicit CException(const char* pcFormat, ...)
        __attribute__((format(printf, 2, 3)));
    explicit CException(const std::string& sMessage);
    CException(const CException& other) = default;
    ~CException() override;

    const char* what() const noexcept override;

private:
    std::string m_sMessage;
};

#endif
