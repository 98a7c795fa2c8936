#pragma once

#include "Platform/Network/ByteSource.h"

// Reads the regular file that a "file" address names.
class FileSource : public ByteSource {
public:
    explicit FileSource(NSURL url);

    [[nodiscard]] NSURL url() const override { return _url; }

protected:
    void startOpening() override;
    [[nodiscard]] NSError errorWhileReading(const GError& error) const override;

private:
    static void didQuery(GObject* file, GAsyncResult* result, gpointer data);
    static void didOpen(GObject* file, GAsyncResult* result, gpointer data);

    const NSURL _url;
    const ObjectPointer<GFile> _file;
    NSURLResponse _foundResponse;
};
