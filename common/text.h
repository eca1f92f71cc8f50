#pragma once

namespace tsn {

// ASCII comparison without regard to case.
inline bool EqualNoCase(const char* a, const char* b) {
    for (;; ++a, ++b) {
        char ca = (*a >= 'A' && *a <= 'Z') ? char(*a + 32) : *a;
        char cb = (*b >= 'A' && *b <= 'Z') ? char(*b + 32) : *b;
        if (ca != cb) return false;
        if (!ca) return true;
    }
}

// True when `name` begins with the first `n` characters of `prefix`,
// compared without regard to case.
inline bool StartsWithNoCase(const char* name, const char* prefix, int n) {
    for (int i = 0; i < n; ++i) {
        char a = (name[i] >= 'A' && name[i] <= 'Z') ? char(name[i] + 32) : name[i];
        char b = (prefix[i] >= 'A' && prefix[i] <= 'Z') ? char(prefix[i] + 32) : prefix[i];
        if (a != b || !a) return false;
    }
    return true;
}

}  // namespace tsn
