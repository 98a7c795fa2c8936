#pragma once

#include <glib-object.h>
#include <memory>

// Owns one reference to an object of GLib's type system.
struct ObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename Object>
using ObjectPointer = std::unique_ptr<Object, ObjectUnref>;

struct ErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};
using ErrorPointer = std::unique_ptr<GError, ErrorFree>;
