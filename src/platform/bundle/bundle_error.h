#pragma once

#include <stdexcept>

namespace Bundle {

// Every failure of the bundle library: a one-line message that names the file and the place in it.
class Error : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

}  // namespace Bundle
