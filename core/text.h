#pragma once

#include <string>

namespace tsn {

inline char LowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? char(c + 32) : c;
}

// ASCII comparison without regard to case.
inline bool EqualNoCase(const char* a, const char* b) {
    for (;; ++a, ++b) {
        if (LowerAscii(*a) != LowerAscii(*b)) return false;
        if (!*a) return true;
    }
}

inline bool LessNoCase(const std::string& a, const std::string& b) {
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
        if (LowerAscii(a[i]) != LowerAscii(b[i])) return LowerAscii(a[i]) < LowerAscii(b[i]);
    return a.size() < b.size();
}

// True when `name` begins with the first `n` characters of `prefix`,
// compared without regard to case.
inline bool StartsWithNoCase(const char* name, const char* prefix, int n) {
    for (int i = 0; i < n; ++i)
        if (LowerAscii(name[i]) != LowerAscii(prefix[i]) || !name[i]) return false;
    return true;
}

}  // namespace tsn
