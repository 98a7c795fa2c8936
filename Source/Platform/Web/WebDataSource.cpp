#include "Platform/Web/WebDataSource.h"

#include "Platform/Foundation/FormatArgument.h"
#include "Platform/Web/ArchiveMaker.h"
#include "Platform/Web/DocumentLoad.h"
#include "Platform/Web/WebPage.h"

NSURLRequest WebDataSource::initialRequest() const
{
    return _load ? _load->initialRequest : NSURLRequest();
}

NSURLRequest WebDataSource::request() const
{
    return _load ? _load->request : NSURLRequest();
}

NSURLResponse WebDataSource::response() const
{
    return _load ? _load->response : NSURLResponse();
}

bool WebDataSource::isLoading() const
{
    return _load && (_load->state == DocumentLoad::State::Provisional || _load->state == DocumentLoad::State::Committed);
}

NSString WebDataSource::pageTitle() const
{
    return _load ? _load->title : NSString();
}

NSString WebDataSource::textEncodingName() const
{
    if (!_load)
        return {};
    return _load->encoding ? _load->encoding : _load->response.textEncodingName();
}

std::shared_ptr<WebFrame> WebDataSource::webFrame() const
{
    return _load ? _load->frame.lock() : nullptr;
}

WebResource WebDataSource::mainResource() const
{
    const std::shared_ptr<WebPage> page = _load ? _load->page.lock() : nullptr;
    return page ? mainResourceOf(*page, *_load) : WebResource();
}

std::vector<WebResource> WebDataSource::subresources() const
{
    const std::shared_ptr<WebPage> page = _load ? _load->page.lock() : nullptr;
    return page ? subresourcesOf(*page, *_load) : std::vector<WebResource>();
}

WebArchive WebDataSource::webArchive() const
{
    const std::shared_ptr<WebPage> page = _load ? _load->page.lock() : nullptr;
    const std::shared_ptr<WebFrame> frame = webFrame();
    if (!page || !frame || frame->dataSource() != *this)
        return {};
    return archiveOfDataSources(*page, frame->frameID());
}

NSString WebDataSource::description() const
{
    return _load ? NSString::stringWithFormat(u"<WebDataSource: %@>", _load->request.URL()) : NSString();
}
