#include "Platform/Web/Deliveries.h"

#include <exception>
#include <utility>

void Deliveries::deliver()
{
    std::exception_ptr first;
    for (const std::function<void()>& call : std::exchange(_calls, {})) {
        try {
            call();
        } catch (...) {
            if (!first)
                first = std::current_exception();
        }
    }
    if (first)
        std::rethrow_exception(first);
}
