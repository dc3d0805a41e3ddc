// SPDX-License-Identifier: Apache-2.0
// The platform's runtime-library extensions: bounded formatting with the
// address directives, strlcpy, in-place upper-casing, address to text.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <sys/types.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string_view>

#include "platform/textutil.h"

namespace {

// The part of the caller's buffer not yet written.  `used` never passes
// size - 1, and the text is always terminated.
struct Out {
    char *buf;
    size_t size;
    size_t used;

    size_t room() const { return size - 1 - used; }
    void put(const char *s, size_t n) {
        const size_t take = n < room() ? n : room();
        std::memcpy(buf + used, s, take);
        used += take;
        buf[used] = '\0';
    }
    // One C directive, formatted in place: vsnprintf cuts it at the end of
    // the buffer and says how long it would have been.
    template <typename... Args>
    void format(const char *piece, Args... args) {
        const int n = std::snprintf(buf + used, size - used, piece, args...);
        if (n > 0) used += static_cast<size_t>(n) < room() ? static_cast<size_t>(n) : room();
        buf[used] = '\0';
    }
};

// A directive as written: flags, width, precision, length and conversion.
struct Directive {
    const char *start = nullptr;
    size_t length = 0;        // of the whole directive text
    bool leftAlign = false;
    bool starWidth = false;
    bool starPrecision = false;
    int width = -1;           // written as digits; -1 when absent
    std::string_view lengthMod;
    char conversion = '\0';
};

// Parses the directive that starts at p (on its '%'); false when the
// format ends inside it.
bool parse_directive(const char *p, Directive &d) {
    d.start = p++;
    while (*p != '\0' && std::strchr("-+ #0", *p) != nullptr) d.leftAlign |= *p++ == '-';
    if (*p == '*') {
        d.starWidth = true;
        ++p;
    } else if (std::isdigit(static_cast<unsigned char>(*p))) {
        d.width = 0;
        while (std::isdigit(static_cast<unsigned char>(*p))) d.width = d.width * 10 + (*p++ - '0');
    }
    if (*p == '.') {
        ++p;
        if (*p == '*') {
            d.starPrecision = true;
            ++p;
        } else {
            while (std::isdigit(static_cast<unsigned char>(*p))) ++p;
        }
    }
    const char *lengthStart = p;
    while (*p != '\0' && std::strchr("hljztLq", *p) != nullptr) ++p;
    d.lengthMod = std::string_view(lengthStart, static_cast<size_t>(p - lengthStart));
    if (*p == '\0') return false;
    d.conversion = *p++;
    d.length = static_cast<size_t>(p - d.start);
    return true;
}

// Formats one C directive with its arguments taken as the length modifier
// says, the '*' width and precision first.
template <typename T>
void format_with_stars(Out &out, const char *piece, const Directive &d, int width, int precision, T value) {
    if (d.starWidth && d.starPrecision) out.format(piece, width, precision, value);
    else if (d.starWidth) out.format(piece, width, value);
    else if (d.starPrecision) out.format(piece, precision, value);
    else out.format(piece, value);
}

void format_c_directive(Out &out, const char *piece, const Directive &d, int width, int precision, va_list &ap) {
    const std::string_view m = d.lengthMod;
    switch (d.conversion) {
    case 'd':
    case 'i':
        if (m == "ll" || m == "q") format_with_stars(out, piece, d, width, precision, va_arg(ap, long long));
        else if (m == "l") format_with_stars(out, piece, d, width, precision, va_arg(ap, long));
        else if (m == "j") format_with_stars(out, piece, d, width, precision, va_arg(ap, intmax_t));
        else if (m == "z") format_with_stars(out, piece, d, width, precision, va_arg(ap, ssize_t));
        else if (m == "t") format_with_stars(out, piece, d, width, precision, va_arg(ap, ptrdiff_t));
        else format_with_stars(out, piece, d, width, precision, va_arg(ap, int));
        break;
    case 'u':
    case 'o':
    case 'x':
    case 'X':
        if (m == "ll" || m == "q") format_with_stars(out, piece, d, width, precision, va_arg(ap, unsigned long long));
        else if (m == "l") format_with_stars(out, piece, d, width, precision, va_arg(ap, unsigned long));
        else if (m == "j") format_with_stars(out, piece, d, width, precision, va_arg(ap, uintmax_t));
        else if (m == "z") format_with_stars(out, piece, d, width, precision, va_arg(ap, size_t));
        else if (m == "t") format_with_stars(out, piece, d, width, precision, va_arg(ap, ptrdiff_t));
        else format_with_stars(out, piece, d, width, precision, va_arg(ap, unsigned int));
        break;
    case 'c':
        if (m == "l") format_with_stars(out, piece, d, width, precision, va_arg(ap, wint_t));
        else format_with_stars(out, piece, d, width, precision, va_arg(ap, int));
        break;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
        if (m == "L") format_with_stars(out, piece, d, width, precision, va_arg(ap, long double));
        else format_with_stars(out, piece, d, width, precision, va_arg(ap, double));
        break;
    case 's':
        if (m == "l") format_with_stars(out, piece, d, width, precision, va_arg(ap, const wchar_t *));
        else format_with_stars(out, piece, d, width, precision, va_arg(ap, const char *));
        break;
    case 'p':
        format_with_stars(out, piece, d, width, precision, va_arg(ap, void *));
        break;
    case 'n':
        // Counting into the caller's memory is not offered; the argument
        // is consumed all the same.
        (void)va_arg(ap, void *);
        break;
    default:
        // Unknown conversions are copied as they were written.
        out.put(d.start, d.length);
        break;
    }
}

}  // namespace

extern "C" {

// Formats directive by directive: the C directives through snprintf into
// the buffer's tail, "%P" (a host-order IPv4 u32) and "%Q" (a pointer to 16
// IPv6 bytes) as their address text, with '-' and the width applied.
PLAT_API int scnprintf(char *buf, size_t size, const char *fmt, ...) {
    if (buf == nullptr || size == 0) return 0;
    buf[0] = '\0';
    if (fmt == nullptr) return 0;
    Out out{buf, size, 0};
    va_list ap;
    va_start(ap, fmt);
    const char *p = fmt;
    while (*p != '\0' && out.room() > 0) {
        if (*p != '%') {
            const char *next = std::strchr(p, '%');
            const size_t n = next != nullptr ? static_cast<size_t>(next - p) : std::strlen(p);
            out.put(p, n);
            p += n;
            continue;
        }
        if (p[1] == '%') {
            out.put("%", 1);
            p += 2;
            continue;
        }
        Directive d;
        if (!parse_directive(p, d)) break;
        p += d.length;
        const int width = d.starWidth ? va_arg(ap, int) : 0;
        const int precision = d.starPrecision ? va_arg(ap, int) : 0;
        if (d.conversion == 'P' || d.conversion == 'Q') {
            char addr[INET6_ADDRSTRLEN] = "";
            if (d.conversion == 'P') {
                const in_addr a{htonl(va_arg(ap, uint32_t))};
                inet_ntop(AF_INET, &a, addr, sizeof addr);
            } else {
                const void *a6 = va_arg(ap, const void *);
                if (a6 != nullptr) inet_ntop(AF_INET6, a6, addr, sizeof addr);
            }
            int w = d.starWidth ? width : d.width;
            const bool left = d.leftAlign || w < 0;
            if (w < 0) w = -w;
            out.format(left ? "%-*s" : "%*s", w, addr);
            continue;
        }
        char piece[64];
        if (d.length >= sizeof piece) break;
        std::memcpy(piece, d.start, d.length);
        piece[d.length] = '\0';
        format_c_directive(out, piece, d, width, precision, ap);
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
