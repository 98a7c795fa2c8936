#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace support {

// Sets a variable of the environment, or takes it away, while this object lives.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const char* value) : _name(name)
    {
        if (const char* const before = std::getenv(name))
            _before = before;
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
    ~EnvironmentVariable() { _before ? ::setenv(_name, _before->c_str(), 1) : ::unsetenv(_name); }

private:
    const char* _name;
    std::optional<std::string> _before;
};

}
