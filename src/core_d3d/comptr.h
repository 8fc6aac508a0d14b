#pragma once

#include <unknwn.h>

#include <utility>

/// Holds one reference to a COM object.
template <typename Interface>
class ComPtr
{
public:
    ComPtr() = default;

    /// Takes a reference of its own; the caller's stays the caller's.
    explicit ComPtr(Interface* shared)
        : object(shared)
    {
        if (object)
            object->AddRef();
    }

    ComPtr(const ComPtr& other)
        : ComPtr(other.object)
    {
    }

    ComPtr(ComPtr&& other) noexcept
        : object(std::exchange(other.object, nullptr))
    {
    }

    ~ComPtr()
    {
        if (object)
            object->Release();
    }

    ComPtr& operator=(ComPtr other) noexcept
    {
        std::swap(object, other.object);
        return *this;
    }

    Interface* get() const { return object; }
    Interface* operator->() const { return object; }
    explicit operator bool() const { return object != nullptr; }

    void reset() { *this = ComPtr(); }

    /// Where a call leaves the reference that it hands out. What was held before is released.
    Interface** receive()
    {
        reset();
        return &object;
    }

    /// Where a call reads the object from.
    Interface* const* address() const { return &object; }

    /// The same object by another of its interfaces, or null.
    template <typename Other>
    ComPtr<Other> as() const
    {
        ComPtr<Other> other;
        if (object)
            object->QueryInterface(__uuidof(Other), reinterpret_cast<void**>(other.receive()));
        return other;
    }

private:
    Interface* object = nullptr;
};
