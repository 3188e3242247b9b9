// The three element types every typed test runs over.
#ifndef TESTS_PIXELTYPES_H
#define TESTS_PIXELTYPES_H

#include <gtest/gtest.h>

using PixelTypes = ::testing::Types<unsigned char, unsigned short, float>;

#endif
