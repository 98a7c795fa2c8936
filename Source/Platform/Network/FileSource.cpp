#include "Platform/Network/FileSource.h"

#include "Platform/Network/TransferErrors.h"

#include <string>

namespace {

constexpr const char* attributes =
    G_FILE_ATTRIBUTE_STANDARD_TYPE "," G_FILE_ATTRIBUTE_STANDARD_SIZE "," G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE;

// A query or fragment is no part of a file's name.
std::string nameOfFile(const NSURL& url)
{
    const std::string text = url.absoluteString().UTF8();
    return text.substr(0, text.find_first_of("?#"));
}

int64_t codeForUnreadable(GFileType type)
{
    switch (type) {
    case G_FILE_TYPE_DIRECTORY:
        return NSURLErrorFileIsDirectory;
    case G_FILE_TYPE_SYMBOLIC_LINK:   // to nowhere
        return NSURLErrorFileDoesNotExist;
    default:   // a device or a pipe may never end
        return NSURLErrorResourceUnavailable;
    }
}

NSURLResponse responseFor(const NSURL& url, GFileInfo* info)
{
    const char* const contentType = g_file_info_get_content_type(info);
    char* const type = contentType ? g_content_type_get_mime_type(contentType) : nullptr;
    NSString MIMEType = type ? NSString::stringWithRepairedUTF8(type) : NSString(u"application/octet-stream");
    g_free(type);
    return NSURLResponse(url, std::move(MIMEType), g_file_info_get_size(info), {});
}

}

FileSource::FileSource(NSURL url) : _url(std::move(url)), _file(g_file_new_for_uri(nameOfFile(_url).c_str())) { }

void FileSource::startOpening()
{
    g_file_query_info_async(
        _file.get(), attributes, G_FILE_QUERY_INFO_NONE, G_PRIORITY_DEFAULT, cancellable(), didQuery, reference());
}

void FileSource::didQuery(GObject* file, GAsyncResult* result, gpointer data)
{
    const auto self = fromReference<FileSource>(data);
    GError* error = nullptr;
    const ObjectPointer<GFileInfo> info(g_file_query_info_finish(G_FILE(file), result, &error));
    const ErrorPointer owned(error);
    if (self->isCancelled())
        return;
    if (!info) {
        self->failed(self->errorWhileReading(*error));
        return;
    }
    const GFileType type = g_file_info_get_file_type(info.get());
    if (type != G_FILE_TYPE_REGULAR) {
        self->failed(transferError(codeForUnreadable(type), self->_url));
        return;
    }
    self->_foundResponse = responseFor(self->_url, info.get());
    g_file_read_async(G_FILE(file), G_PRIORITY_DEFAULT, self->cancellable(), didOpen, self->reference());
}

void FileSource::didOpen(GObject* file, GAsyncResult* result, gpointer data)
{
    const auto self = fromReference<FileSource>(data);
    GError* error = nullptr;
    ObjectPointer<GInputStream> stream(G_INPUT_STREAM(g_file_read_finish(G_FILE(file), result, &error)));
    const ErrorPointer owned(error);
    if (self->isCancelled())
        return;
    if (stream)
        self->opened(self->_foundResponse, std::move(stream));
    else
        self->failed(self->errorWhileReading(*error));
}

NSError FileSource::errorWhileReading(const GError& error) const
{
    return transferErrorFromFile(error, _url);
}
