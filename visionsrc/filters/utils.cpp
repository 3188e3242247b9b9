#include "filters/utils.h"

#include <utility>

int minidx(float* a, int n)
{
    int iBest = 0;
    for (int i = 1; i < n; ++i)
        if (a[i] < a[iBest])
            iBest = i;
    return iBest;
}

int maxidx(float* a, int n)
{
    int iBest = 0;
    for (int i = 1; i < n; ++i)
        if (a[i] > a[iBest])
            iBest = i;
    return iBest;
}

template <class T> float mean(T* a, int n)
{
    float fSum = 0.0f;
    for (int i = 0; i < n; ++i)
        fSum += float(a[i]);
    return fSum / float(n);
}

float variance(float* a, int n)
{
    const float fMean = mean(a, n);
    float fSum = 0.0f;
    for (int i = 0; i < n; ++i)
        fSum += (fMean - a[i]) * (fMean - a[i]);
    return fSum / float(n);
}

template <class T> T sum(T* a, int n)
{
    T total = T(0);
    for (int i = 0; i < n; ++i)
        total = T(total + a[i]);
    return total;
}

template <class T> T mul(T* a, int n)
{
    T product = T(1);
    for (int i = 0; i < n; ++i)
        product = T(product * a[i]);
    return product;
}

template <class T> T minval(T* a, int n)
{
    if (!a)
        return T(0);
    T best = a[0];
    for (int i = 1; i < n; ++i)
        if (a[i] < best)
            best = a[i];
    return best;
}

template <class T> T maxval(T* a, int n)
{
    if (!a)
        return T(0);
    T best = a[0];
    for (int i = 1; i < n; ++i)
        if (a[i] > best)
            best = a[i];
    return best;
}

// Quickselect with median-of-three partitioning. After the median-of-three
// step a[l] <= pivot <= a[r] (or a NaN stops the scan), so both inward scans
// stop inside [l, r] without a bounds test.
template <class T> T getRank(int k, int n, T* a)
{
    if (n < 1)
        return T(0);
    if (k < 0)
        k = 0;
    if (k > n - 1)
        k = n - 1;
    int l = 0, r = n - 1;
    for (;;) {
        if (r <= l + 1) {
            if (r == l + 1 && a[l] > a[r])
                std::swap(a[l], a[r]);
            return a[k];
        }
        const int iMid = (l + r) / 2;
        std::swap(a[iMid], a[l + 1]);
        if (a[l] > a[r])
            std::swap(a[l], a[r]);
        if (a[l + 1] > a[r])
            std::swap(a[l + 1], a[r]);
        if (a[l] > a[l + 1])
            std::swap(a[l], a[l + 1]);
        const T pivot = a[l + 1];
        int i = l + 1, j = r;
        for (;;) {
            do
                ++i;
            while (pivot > a[i]);
            do
                --j;
            while (a[j] > pivot);
            if (j < i)
                break;
            std::swap(a[i], a[j]);
        }
        a[l + 1] = a[j];
        a[j] = pivot;
        if (j >= k)
            r = j - 1;
        if (j <= k)
            l = j + 1;
    }
}

template <class T> T median(T* a, int n)
{
    return getRank((n + 1) / 2 - 1, n, a);
}

#define TIRN_UTILS_INSTANTIATE(T)                                                \
    template float mean<T>(T*, int);                                             \
    template T sum<T>(T*, int);                                                  \
    template T mul<T>(T*, int);                                                  \
    template T minval<T>(T*, int);                                               \
    template T maxval<T>(T*, int);                                               \
    template T getRank<T>(int, int, T*);                                         \
    template T median<T>(T*, int);

TIRN_UTILS_INSTANTIATE(unsigned char)
TIRN_UTILS_INSTANTIATE(unsigned short)
TIRN_UTILS_INSTANTIATE(float)
