#include "Platform/Web/ResourceLog.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace {

// Loads of these addresses are no resources: the page itself holds the bytes.
bool isInsidePage(const NSString& address)
{
    const NSString scheme = address.substringToIndex(std::min<size_t>(address.length(), 5)).lowercaseString();
    return scheme == NSString(u"data:") || scheme == NSString(u"blob:");
}

// Questions about a resource, whose answers are not the resource.
bool isQuestionOnly(const NSURLRequest& request)
{
    const NSString method = request.HTTPMethod();
    return method == NSString(u"HEAD") || method == NSString(u"OPTIONS");
}

// Whether "bytes 0-99/100" says that the part is the whole.
bool isWholeRange(const NSString& contentRange)
{
    unsigned long long first = 1;
    unsigned long long last = 0;
    unsigned long long length = 0;
    return std::sscanf(contentRange.UTF8().c_str(), "bytes %llu-%llu/%llu", &first, &last, &length) == 3 && first == 0
        && last + 1 == length;
}

// How good an answer is as the resource of its address: the whole thing, a part of it, or the answer to something else that
// was sent there.
int rankOf(const ResourceLog::Load& load)
{
    if (load.request.HTTPMethod() != NSString(u"GET"))
        return 0;
    const bool isPart =
        load.response.statusCode() == 206 && !isWholeRange(load.response.valueForHTTPHeaderField(u"Content-Range"));
    return isPart ? 1 : 2;
}

}

NSString ResourceLog::addressOf(const NSURL& url)
{
    const NSString text = url.absoluteString();
    const size_t fragment = text.units().find(u'#');
    return fragment == std::u16string_view::npos ? text : text.substringToIndex(fragment);
}

ResourceLog::Load& ResourceLog::add(
    const ResourceID& name, const FrameID& frame, const DocumentID& document, const NSURLRequest& request)
{
    const auto [found, isNew] = _loads.try_emplace(name);
    Load& load = found->second;
    load.request = request;
    if (!isNew)
        return load;
    load.name = name;
    load.frame = frame;
    load.document = document;
    load.address = addressOf(request.URL());

    Document& user = _documents[document];
    user.loads.insert(name);
    if (user.first.empty())
        user.first = name;
    if (load.address && !isInsidePage(load.address) && !isQuestionOnly(request)
        && user.useByAddress.emplace(load.address.units(), user.uses.size()).second)
        user.uses.push_back({load.address, {}});
    return load;
}

ResourceLog::Load* ResourceLog::find(const ResourceID& name)
{
    const auto found = _loads.find(name);
    return found == _loads.end() ? nullptr : &found->second;
}

void ResourceLog::finish(const ResourceID& name)
{
    Load* load = find(name);
    if (!load)
        return;
    load->state = State::Finished;
    const auto user = _documents.find(load->document);
    if (user == _documents.end() || !load->address || isQuestionOnly(load->request))
        return drop(name);
    const auto use = user->second.useByAddress.find(load->address.units());
    if (use == user->second.useByAddress.end())
        return drop(name);

    ResourceID& answer = user->second.uses[use->second].answer;
    const Load* earlier = answer.empty() ? nullptr : find(answer);
    if (earlier && rankOf(*earlier) > rankOf(*load))
        return drop(name);
    const ResourceID replaced = std::exchange(answer, name);
    Answers& answers = _answers.try_emplace(std::u16string(load->address.units()), Answers{name, name}).first->second;
    const ResourceID outdated = std::exchange(answers.latest, name);
    for (const ResourceID& each : {replaced, outdated}) {
        if (!each.empty() && each != name && !isInUse(each))
            drop(each);
    }
}

void ResourceLog::fail(const ResourceID& name)
{
    Load* load = find(name);
    if (!load)
        return;
    // Engines give up style sheets and scripts when they see an error status. That is an answer all the same.
    if (load->response.statusCode().value_or(0) >= 400)
        return finish(name);
    load->state = State::Failed;
    drop(name);
}

ResourceLog::Load* ResourceLog::ownLoad(const DocumentID& document, const NSString& address)
{
    const auto user = _documents.find(document);
    Load* first = user == _documents.end() ? nullptr : find(user->second.first);
    if (!first)
        return nullptr;
    // A document's own load comes before everything it uses. One without a load (about:srcdoc) begins with a resource at once.
    return first->name == document || (address && first->address == address) ? first : nullptr;
}

std::vector<ResourceLog::Load*> ResourceLog::finishedLoads(const DocumentID& document, const Addresses& unlisted)
{
    std::vector<Load*> result;
    const auto user = _documents.find(document);
    if (user == _documents.end())
        return result;
    for (const Use& use : user->second.uses) {
        Load* load = use.answer.empty() ? nullptr : find(use.answer);
        if (load && std::find(unlisted.begin(), unlisted.end(), use.address) == unlisted.end())
            result.push_back(load);
    }
    return result;
}

std::vector<ResourceLog::Load*> ResourceLog::otherAnswers(const Load& load)
{
    std::vector<Load*> result;
    const auto answers = _answers.find(std::u16string(load.address.units()));
    if (answers == _answers.end())
        return result;
    for (const ResourceID& name : {answers->second.first, answers->second.latest}) {
        Load* other = find(name);
        if (other && other != &load && (result.empty() || result.front() != other))
            result.push_back(other);
    }
    return result;
}

void ResourceLog::forget(const DocumentID& document)
{
    const auto found = _documents.find(document);
    if (found == _documents.end())
        return;
    const Document forgotten = std::move(found->second);
    _documents.erase(found);
    for (const ResourceID& name : forgotten.loads) {
        if (const Load* load = find(name); load && !isAnswer(*load))
            _loads.erase(name);
    }
}

void ResourceLog::forgetAllBut(const DocumentID& document)
{
    std::erase_if(_documents, [&](const auto& entry) { return entry.first != document; });
    std::erase_if(_loads, [&](const auto& entry) { return entry.second.document != document; });
    std::erase_if(_answers,
        [&](const auto& entry) { return !_loads.contains(entry.second.first) || !_loads.contains(entry.second.latest); });
}

void ResourceLog::drop(const ResourceID& name)
{
    const auto found = _loads.find(name);
    if (found == _loads.end())
        return;
    if (const auto user = _documents.find(found->second.document); user != _documents.end()) {
        // A document's own load is asked for by name later, whatever became of it.
        if (user->second.first == name)
            return;
        user->second.loads.erase(name);
    }
    if (!isAnswer(found->second))
        _loads.erase(found);
}

bool ResourceLog::isInUse(const ResourceID& name) const
{
    const auto load = _loads.find(name);
    const auto user = load == _loads.end() ? _documents.end() : _documents.find(load->second.document);
    if (user == _documents.end())
        return false;
    const auto use = user->second.useByAddress.find(load->second.address.units());
    return use != user->second.useByAddress.end() && user->second.uses[use->second].answer == name;
}

bool ResourceLog::isAnswer(const Load& load) const
{
    if (load.state != State::Finished || !load.address)
        return false;
    const auto found = _answers.find(std::u16string(load.address.units()));
    return found != _answers.end() && (found->second.first == load.name || found->second.latest == load.name);
}
