// Small statistics over arrays, shared by the rank filters and the channel
// operations. Every loop runs in index order: the float results depend on
// it.
#ifndef UTILS_H
#define UTILS_H

// Index of the first smallest / largest element; 0 when n < 1.
int minidx(float* a, int n);
int maxidx(float* a, int n);
// Population variance, single precision.
float variance(float* a, int n);

// Float sum divided by n (NaN for n = 0).
template <class T> float mean(T* a, int n);
// Accumulated in T, so the integer types wrap; 0 for n < 1.
template <class T> T sum(T* a, int n);
// Accumulated in T; 1 for n < 1.
template <class T> T mul(T* a, int n);
// a[0] when n < 1 (a is read even then; a null a gives T(0)).
template <class T> T minval(T* a, int n);
template <class T> T maxval(T* a, int n);
// The element at 0-based position k of a[0..n-1] sorted ascending, found by
// in-place selection (a is reordered). Uses only operator>, so NaNs are not
// ordered. k outside 0..n-1 is clamped into it; n < 1 gives T(0).
template <class T> T getRank(int k, int n, T* a);
// The middle element, the lower middle one for even n.
template <class T> T median(T* a, int n);

#endif
