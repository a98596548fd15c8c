// The dependency injector: services registered by type as singletons, created once on first
// request, with named dependencies filled in right after construction.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <typeindex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace dm {

// A registry of singleton factories and named providers. All methods may be called from any
// thread. Instances live as long as the injector (or until releaseInstances()); callers
// share ownership through the returned shared_ptr.
//
//   injector.registerProvider<ManagedObjectStore>("objectStore");
//   injector.registerSingleton<ModelMapper>(
//       [](Injector&) { return std::make_shared<ModelMapper>(); },
//       {Injector::requirement("objectStore", &ModelMapper::setObjectStore)});
//   auto mapper = injector.get<ModelMapper>();  // created once, objectStore already set
class Injector {
 public:
  template <class T>
  using Factory = std::function<std::shared_ptr<T>(Injector&)>;

  // A named dependency of T: after T is constructed, the provider registered under `name`
  // is asked for its instance and handed to the setter.
  template <class T>
  struct Requirement {
    std::string name;
    std::function<bool(T&, Injector&)> apply;  // false when the provider gave nothing
  };

  // Builds a requirement that calls `setter` with the instance provided under `name`.
  template <class T, class D>
  static Requirement<T> requirement(std::string name, void (T::*setter)(std::shared_ptr<D>)) {
    std::string key = name;
    return {std::move(name), [key, setter](T& object, Injector& injector) {
              auto dependency = injector.getNamed<D>(key);
              if (!dependency) return false;
              (object.*setter)(std::move(dependency));
              return true;
            }};
  }

  Injector() = default;
  Injector(const Injector&) = delete;
  Injector& operator=(const Injector&) = delete;

  // Registers T as a singleton made by `factory` (which may itself ask this injector for
  // other services). Replaces an earlier registration of T and forgets its instance.
  template <class T>
  void registerSingleton(Factory<T> factory, std::vector<Requirement<T>> requirements = {}) {
    auto entry = std::make_shared<Entry>();
    entry->typeName = typeid(T).name();
    entry->create = [factory = std::move(factory), requirements = std::move(requirements)](
                        Injector& injector, std::string& failure) -> std::shared_ptr<void> {
      std::shared_ptr<T> object = factory ? factory(injector) : nullptr;
      if (!object) {
        failure = "the factory returned nothing";
        return nullptr;
      }
      for (const auto& requirement : requirements) {
        if (!requirement.apply(*object, injector)) {
          failure = "required dependency \"" + requirement.name + "\" is not available";
          return nullptr;
        }
      }
      return object;
    };
    std::lock_guard lock(mutex_);
    entries_[std::type_index(typeid(T))] = std::move(entry);
  }

  // The singleton of T, created on the first request; concurrent first requests wait for the
  // one creation. nullptr (and a logged error) when T is not registered, its factory gives
  // nothing, a required dependency is missing, or the creation re-enters itself (a cycle);
  // a failed creation is tried again on the next request.
  template <class T>
  std::shared_ptr<T> get() {
    return std::static_pointer_cast<T>(instance(std::type_index(typeid(T)), typeid(T).name()));
  }

  // Registers `name` as a provider of T's singleton (so services can require it by name).
  template <class T>
  void registerProvider(std::string name) {
    registerProvider<T>(std::move(name), [](Injector& injector) { return injector.get<T>(); });
  }

  // Registers `name` as a provider calling `provide` on each request (no caching).
  template <class T>
  void registerProvider(std::string name, Factory<T> provide) {
    Provider provider{std::type_index(typeid(T)),
                      [provide = std::move(provide)](Injector& injector) -> std::shared_ptr<void> {
                        return provide ? provide(injector) : nullptr;
                      }};
    std::lock_guard lock(mutex_);
    providers_.insert_or_assign(std::move(name), std::move(provider));
  }

  // The instance provided under `name`; nullptr (and a logged error) when no provider has that
  // name or it provides another type than D.
  template <class D>
  std::shared_ptr<D> getNamed(std::string_view name) {
    return std::static_pointer_cast<D>(named(name, std::type_index(typeid(D))));
  }

  template <class T>
  bool isRegistered() const {
    std::lock_guard lock(mutex_);
    return entries_.count(std::type_index(typeid(T))) != 0;
  }

  // Drops every created singleton; registrations stay, so the next get() creates anew.
  void releaseInstances();

  // The process-wide injector. Thread-safe; the returned instance stays valid while held.
  static std::shared_ptr<Injector> defaultInjector();
  // Replaces the process-wide injector; nullptr installs a fresh empty one.
  static void setDefaultInjector(std::shared_ptr<Injector> injector);
  // Replaces the process-wide injector with a fresh empty one (for tests).
  static void reset();

 private:
  struct Entry {
    std::string typeName;
    std::function<std::shared_ptr<void>(Injector&, std::string&)> create;
    std::recursive_mutex mutex;  // held during creation; recursive to detect cycles
    bool creating = false;
    std::shared_ptr<void> instance;
  };
  struct Provider {
    std::type_index type;
    std::function<std::shared_ptr<void>(Injector&)> provide;
  };

  std::shared_ptr<void> instance(std::type_index type, const char* typeName);
  std::shared_ptr<void> named(std::string_view name, std::type_index type);

  mutable std::mutex mutex_;
  std::unordered_map<std::type_index, std::shared_ptr<Entry>> entries_;  // guarded by mutex_
  std::unordered_map<std::string, Provider> providers_;                  // guarded by mutex_
};

}  // namespace dm
