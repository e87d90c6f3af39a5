#pragma once

#include <glib-object.h>
#include <memory>

namespace kestrelle {

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

// Receives the error of one call of a GLib-based library (libatspi, libsecret) and frees it.
class GErrorSlot {
public:
    GErrorSlot() = default;
    GErrorSlot(const GErrorSlot&) = delete;
    GErrorSlot& operator=(const GErrorSlot&) = delete;
    ~GErrorSlot() { g_clear_error(&error_); }

    GError** out() { return &error_; }
    const GError* get() const { return error_; }
    explicit operator bool() const { return error_ != nullptr; }

private:
    GError* error_ = nullptr;
};

} // namespace kestrelle
