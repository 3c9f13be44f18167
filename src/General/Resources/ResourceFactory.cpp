// The list of statically registered resource factories. It is a function-local static, so
// factories may register from static constructors of any module in any order.
#include "General/Resources/ResourceFactory.h"

#include <algorithm>

#include "General/Core/LibContainers.h"

namespace {

TLibVector<TResourceFactory *> &Factories() {
    static TLibVector<TResourceFactory *> factories;
    return factories;
}

} // namespace

TResourceFactory::~TResourceFactory() = default;

void TResourceFactoryRegistry::Register(TResourceFactory *factory) {
    if (factory == nullptr)
        return;
    TLibVector<TResourceFactory *> &factories = Factories();
    if (std::find(factories.begin(), factories.end(), factory) == factories.end())
        factories.push_back(factory);
}

void TResourceFactoryRegistry::Unregister(TResourceFactory *factory) {
    TLibVector<TResourceFactory *> &factories = Factories();
    auto it = std::find(factories.begin(), factories.end(), factory);
    if (it != factories.end())
        factories.erase(it);
}

size_t TResourceFactoryRegistry::GetCount() {
    return Factories().size();
}

TResourceFactory *TResourceFactoryRegistry::GetByIndex(size_t index) {
    const TLibVector<TResourceFactory *> &factories = Factories();
    return index < factories.size() ? factories[index] : nullptr;
}

TResourceFactory *TResourceFactoryRegistry::Find(uint32_t id) {
    for (TResourceFactory *factory : Factories())
        if (factory->GetID() == id)
            return factory;
    return nullptr;
}
