#pragma once

#include <functional>

// Takes a policy delegate's answer, at once or later, on the main thread. The first answer counts, further ones do nothing. A
// listener that goes without an answer leaves the load waiting until it is stopped.
class WebPolicyDecisionListener {
public:
    enum class Answer { Use, Ignore };
    explicit WebPolicyDecisionListener(std::function<void(Answer)> decide) : _decide(std::move(decide)) { }
    WebPolicyDecisionListener(const WebPolicyDecisionListener&) = delete;
    WebPolicyDecisionListener& operator=(const WebPolicyDecisionListener&) = delete;
    virtual ~WebPolicyDecisionListener() = default;

    virtual void use() { answer(Answer::Use); }
    virtual void ignore() { answer(Answer::Ignore); }
    // A view does not download by itself: the same as ignore. Whoever wants the file fetches it.
    virtual void download() { answer(Answer::Ignore); }

    [[nodiscard]] bool hasAnswer() const { return _decide == nullptr; }

private:
    void answer(Answer answer);

    std::function<void(Answer)> _decide;   // null once answered
};
