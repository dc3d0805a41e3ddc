// The platform's runtime-library extensions: bounded formatting with the
// address directives, strlcpy, in-place upper-casing, address to text.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/textutil.h"

namespace {

// Appends text to the buffer, never past its end; returns stored count.
struct Sink {
    char *buf;
    size_t size;
    size_t used;
    void put(const char *s, size_t n) {
        if (size == 0) return;
        const size_t room = size - 1 - used;
        const size_t take = n < room ? n : room;
        std::memcpy(buf + used, s, take);
        used += take;
        buf[used] = '\0';
    }
};

}  // namespace

extern "C" {

// Formats piece by piece: the C directives through vsnprintf, one at a
// time, and %P / %Q by converting the address first.
PLAT_API int scnprintf(char *buf, size_t size, const char *fmt, ...) {
    if (buf == nullptr || size == 0) return 0;
    buf[0] = '\0';
    Sink out{buf, size, 0};
    va_list ap;
    va_start(ap, fmt);
    const char *p = fmt;
    while (*p != '\0') {
        if (*p != '%') {
            const char *q = std::strchr(p, '%');
            const size_t n = q ? static_cast<size_t>(q - p) : std::strlen(p);
            out.put(p, n);
            p += n;
            continue;
        }
        // Find the end of this directive.
        const char *start = p++;
        if (*p == '%') {
            out.put("%", 1);
            ++p;
            continue;
        }
        while (*p != '\0' && std::strchr("-+ #0", *p)) ++p;
        bool starWidth = false, starPrec = false;
        if (*p == '*') { starWidth = true; ++p; } else while (std::isdigit(static_cast<unsigned char>(*p))) ++p;
        if (*p == '.') {
            ++p;
            if (*p == '*') { starPrec = true; ++p; } else while (std::isdigit(static_cast<unsigned char>(*p))) ++p;
        }
        const char *lenStart = p;
        while (*p != '\0' && std::strchr("hljztL", *p)) ++p;
        const char conv = *p;
        if (conv == '\0') break;
        ++p;
        char spec[64];
        size_t specLen = static_cast<size_t>(p - start);
        if (specLen >= sizeof spec) break;
        std::memcpy(spec, start, specLen);
        spec[specLen] = '\0';
        int width = 0, prec = 0;
        if (starWidth) width = va_arg(ap, int);
        if (starPrec) prec = va_arg(ap, int);
        char piece[512];
        int n = 0;
        if (conv == 'P' || conv == 'Q') {
            char addr[INET6_ADDRSTRLEN] = "";
            if (conv == 'P') {
                const uint32_t host = va_arg(ap, uint32_t);
                const in_addr a{htonl(host)};
                inet_ntop(AF_INET, &a, addr, sizeof addr);
            } else {
                const void *a6 = va_arg(ap, const void *);
                if (a6 != nullptr) inet_ntop(AF_INET6, a6, addr, sizeof addr);
            }
            // The directive's flags and width apply to the text.
            spec[specLen - 1] = 's';
            if (starWidth && starPrec) n = std::snprintf(piece, sizeof piece, spec, width, prec, addr);
            else if (starWidth || starPrec) n = std::snprintf(piece, sizeof piece, spec, starWidth ? width : prec, addr);
            else n = std::snprintf(piece, sizeof piece, spec, addr);
        } else {
            const std::string_view lengthMod(lenStart, static_cast<size_t>(p - 1 - lenStart));
#define DP_FMT(arg)                                                                                      \
    do {                                                                                                 \
        auto value = (arg);                                                                              \
        if (starWidth && starPrec) n = std::snprintf(piece, sizeof piece, spec, width, prec, value);     \
        else if (starWidth || starPrec) n = std::snprintf(piece, sizeof piece, spec, starWidth ? width : prec, value); \
        else n = std::snprintf(piece, sizeof piece, spec, value);                                         \
    } while (0)
            switch (conv) {
            case 'd': case 'i':
                if (lengthMod == "ll" || lengthMod == "l" || lengthMod == "j" || lengthMod == "z" || lengthMod == "t") DP_FMT(va_arg(ap, long long));
                else DP_FMT(va_arg(ap, int));
                break;
            case 'u': case 'x': case 'X': case 'o': case 'c':
                if (lengthMod == "ll" || lengthMod == "l" || lengthMod == "j" || lengthMod == "z" || lengthMod == "t") DP_FMT(va_arg(ap, unsigned long long));
                else DP_FMT(va_arg(ap, unsigned int));
                break;
            case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A':
                if (lengthMod == "L") DP_FMT(va_arg(ap, long double));
                else DP_FMT(va_arg(ap, double));
                break;
            case 's': DP_FMT(va_arg(ap, const char *)); break;
            case 'p': DP_FMT(va_arg(ap, void *)); break;
            default: n = 0; break;
            }
#undef DP_FMT
        }
        if (n > 0) out.put(piece, static_cast<size_t>(n) < sizeof piece ? static_cast<size_t>(n) : sizeof piece - 1);
    }
    va_end(ap);
    return static_cast<int>(out.used);
}

PLAT_API size_t strlcpy(char *dst, const char *src, size_t size) {
    const size_t len = std::strlen(src);
    if (size != 0) {
        const size_t n = len < size - 1 ? len : size - 1;
        std::memcpy(dst, src, n);
        dst[n] = '\0';
    }
    return len;
}

PLAT_API char *uppercase(char *text) {
    if (text == nullptr) return text;
    for (char *p = text; *p != '\0'; ++p) *p = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
    return text;
}

PLAT_API const char *__wrap_inet_ntop(int family, const void *src, char *dst, uint32_t size) {
    if (src == nullptr || dst == nullptr) return nullptr;
    int af;
    if (family == 2) af = AF_INET;
    else if (family == 10) af = AF_INET6;
    else return nullptr;
    char text[INET6_ADDRSTRLEN];
    if (inet_ntop(af, src, text, sizeof text) == nullptr) return nullptr;
    const size_t len = std::strlen(text);
    if (len + 1 > size) return nullptr;
    std::memcpy(dst, text, len + 1);
    return dst;
}

}  // extern "C"
