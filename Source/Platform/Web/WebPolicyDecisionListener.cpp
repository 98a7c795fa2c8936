#include "Platform/Web/WebPolicyDecisionListener.h"

#include <utility>

void WebPolicyDecisionListener::answer(Answer answer)
{
    // Taken out first: deciding may come back here.
    if (const auto decide = std::exchange(_decide, nullptr))
        decide(answer);
}
