#include "fakenv12.h"

#include "calls.h"

#include "core_d3d/comptr.h"

#include <dxgi.h>

#include <set>

namespace {

class Texture;

/// By which a texture is asked for its handle.
class SharedResource : public IDXGIResource
{
public:
    explicit SharedResource(Texture* texture)
        : owner(texture)
    {
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetParent(REFIID, void**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDevice(REFIID, void**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSharedHandle(HANDLE* handle) override;
    HRESULT STDMETHODCALLTYPE GetUsage(DXGI_USAGE*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetEvictionPriority(UINT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetEvictionPriority(UINT*) override { return E_NOTIMPL; }

private:
    Texture* const owner;
};

class Texture : public ID3D11Texture2D
{
public:
    Texture(ID3D11Device* owner, UINT width, UINT height, UINT sliceCount)
        : device(owner)
        , resource(this)
    {
        description.Width = width;
        description.Height = height;
        description.MipLevels = 1;
        description.ArraySize = sliceCount;
        description.Format = DXGI_FORMAT_NV12;
        description.SampleDesc.Count = 1;
        existing().insert(this);
    }

    virtual ~Texture() { existing().erase(this); }

    /// Null when the pointer is none of these, real textures among them.
    static Texture* from(void* pointer)
    {
        auto* texture = static_cast<Texture*>(pointer);
        return existing().count(texture) ? texture : nullptr;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID type, void** object) override
    {
        *object = nullptr;
        if (type != __uuidof(IDXGIResource))
            return E_NOINTERFACE;
        AddRef();
        *object = &resource;
        return S_OK;
    }

    ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }

    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --count;
        if (!left)
            delete this;
        return left;
    }

    void STDMETHODCALLTYPE GetDevice(ID3D11Device** owner) override
    {
        device->AddRef();
        *owner = device.get();
    }

    HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override { return E_NOTIMPL; }
    void STDMETHODCALLTYPE GetType(D3D11_RESOURCE_DIMENSION* type) override
    {
        *type = D3D11_RESOURCE_DIMENSION_TEXTURE2D;
    }
    void STDMETHODCALLTYPE SetEvictionPriority(UINT) override { }
    UINT STDMETHODCALLTYPE GetEvictionPriority() override { return 0; }
    void STDMETHODCALLTYPE GetDesc(D3D11_TEXTURE2D_DESC* wanted) override { *wanted = description; }

    ComPtr<ID3D11Device> device;
    D3D11_TEXTURE2D_DESC description{};
    std::vector<Picture> slices; // a decoder's
    ComPtr<ID3D11Texture2D> luma; // a presenter's
    ComPtr<ID3D11Texture2D> chroma;
    ComPtr<ID3D11Texture2D> opened; // the presenter's, as a decoder sees it

private:
    static std::set<Texture*>& existing()
    {
        static std::set<Texture*> textures;
        return textures;
    }

    SharedResource resource;
    ULONG count = 1;
};

ULONG SharedResource::AddRef() { return owner->AddRef(); }

ULONG SharedResource::Release() { return owner->Release(); }

HRESULT SharedResource::GetSharedHandle(HANDLE* handle)
{
    HRESULT result = S_OK;
    if (Calls::enter(this, "GetSharedHandle", "", &result))
        return result;
    *handle = owner;
    return S_OK;
}

HRESULT makePlane(ID3D11Device* device, UINT width, UINT height, DXGI_FORMAT format, ID3D11Texture2D** plane)
{
    D3D11_TEXTURE2D_DESC description{};
    description.Width = width;
    description.Height = height;
    description.MipLevels = 1;
    description.ArraySize = 1;
    description.Format = format;
    description.SampleDesc.Count = 1;
    description.BindFlags = D3D11_BIND_SHADER_RESOURCE;
    return device->CreateTexture2D(&description, nullptr, plane);
}

/// Rows of @p pitch bytes, from the upper left corner.
void write(ID3D11DeviceContext* context, ID3D11Texture2D* plane, UINT width, UINT height, const std::uint8_t* bytes,
           int pitch)
{
    const D3D11_BOX box{0, 0, 0, width, height, 1};
    context->UpdateSubresource(plane, 0, &box, bytes, UINT(pitch), 0);
}

} // namespace

ID3D11Texture2D* FakeNv12::makeDecoderArray(ID3D11Device* device, const std::vector<Picture>& slices)
{
    auto* texture = new Texture(device, UINT(slices[0].width), UINT(slices[0].height), UINT(slices.size()));
    texture->slices = slices;
    return texture;
}

HRESULT FakeNv12::makeShared(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& description, ID3D11Texture2D** texture)
{
    const Calls::Pause pause;
    auto* made = new Texture(device, description.Width, description.Height, 1);
    *texture = made;
    const HRESULT result
        = makePlane(device, description.Width, description.Height, DXGI_FORMAT_R8_UNORM, made->luma.receive());
    return FAILED(result) ? result
                          : makePlane(device, description.Width / 2, description.Height / 2, DXGI_FORMAT_R8G8_UNORM,
                                      made->chroma.receive());
}

HRESULT FakeNv12::open(ID3D11Device* device, HANDLE handle, void** texture)
{
    Texture* shared = Texture::from(handle);
    if (!shared)
        return E_INVALIDARG;
    auto* opened = new Texture(device, shared->description.Width, shared->description.Height, 1);
    opened->opened = ComPtr<ID3D11Texture2D>(shared);
    *texture = opened;
    return S_OK;
}

ID3D11Resource* FakeNv12::plane(ID3D11Resource* texture, DXGI_FORMAT format)
{
    const Texture* fake = Texture::from(texture);
    if (!fake)
        return nullptr;
    return format == DXGI_FORMAT_R8_UNORM ? fake->luma.get() : fake->chroma.get();
}

bool FakeNv12::copy(ID3D11Resource* to, ID3D11Resource* from, UINT index, const D3D11_BOX* box)
{
    const Texture* source = Texture::from(from);
    const Texture* opened = Texture::from(to);
    if (!source || !opened || index >= source->slices.size())
        return false;
    const Texture* target = Texture::from(opened->opened.get());
    const Picture& picture = source->slices[index];
    const UINT width = box ? box->right : UINT(picture.width);
    const UINT height = box ? box->bottom : UINT(picture.height);
    if (width > target->description.Width || height > target->description.Height || width > UINT(picture.width)
        || height > UINT(picture.height))
        return false;
    const Calls::Pause pause;
    ComPtr<ID3D11DeviceContext> context;
    target->device->GetImmediateContext(context.receive());
    write(context.get(), target->luma.get(), width, height, picture.luma.data(), picture.width);
    write(context.get(), target->chroma.get(), width / 2, height / 2, picture.chroma.data(), picture.width);
    return true;
}

ULONG FakeNv12::references(ID3D11Texture2D* texture)
{
    texture->AddRef();
    return texture->Release();
}
