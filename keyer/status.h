#ifndef VELTRANE_KEYER_STATUS_H
#define VELTRANE_KEYER_STATUS_H

namespace veltrane {

/// How a stage or the whole keyer ended, with the numbers of the functions that answer in numbers.
/// Whatever else goes wrong is thrown.
enum class [[nodiscard]] Status : unsigned int{
    kDone = 0,
    kRefused = 2,  ///< the record or the size; nothing has been keyed
};

inline unsigned int Number(Status status) {
    return static_cast<unsigned int>(status);
}

}  // namespace veltrane

#endif
