#ifndef VELTRANE_TESTS_KEYER_NAIVE_KEY_H
#define VELTRANE_TESTS_KEYER_NAIVE_KEY_H

#include <map>
#include <string>
#include <vector>

#include "tests/keyer/records.h"

namespace veltrane::testing {

/// How often each way through the key was taken.
using Visits = std::map<std::string, int>;

/// The key written one pixel at a time, straight through: against the pixel of plate, or against
/// the record's key colour where plate is null.
template <typename T>
std::vector<T> NaiveKey(const Record<T>& record, const T* plate, Visits& visits);

}  // namespace veltrane::testing

#endif
