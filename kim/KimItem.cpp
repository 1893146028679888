#include "KimItem.hpp"

#include "KIM_CollectionItemType.hpp"
#include "KIM_LanguageName.hpp"
#include "KIM_SharedLibrarySchema.hpp"
#include "KimRoutines.hpp"

#include <dlfcn.h>
#include <filesystem>
#include <system_error>

namespace melta {
namespace {

std::string findFolder() {
    static const char inThisLibrary = 0;
    Dl_info info{};
    if (dladdr(&inThisLibrary, &info) == 0 || info.dli_fname == nullptr) {
        return ".";
    }
    std::error_code error;
    const auto path = std::filesystem::absolute(info.dli_fname, error);
    return error ? "." : path.parent_path().lexically_normal().string();
}

} // namespace

// Found when the library is loaded: a path that is relative would mean something else later on.
const std::string& itemFolder() {
    static const std::string folder = findFolder();
    return folder;
}

namespace {

const std::string itemName = std::filesystem::path(itemFolder()).filename().string();

} // namespace
} // namespace melta

// What KIM looks for in the library of a model.
extern "C" {

extern __attribute__((visibility("default"))) int kim_shared_library_schema_version;
extern __attribute__((visibility("default")))
KIM::SHARED_LIBRARY_SCHEMA::SharedLibrarySchemaV2 kim_shared_library_schema;

int kim_shared_library_schema_version = 2;
KIM::SHARED_LIBRARY_SCHEMA::SharedLibrarySchemaV2 kim_shared_library_schema{
    KIM::COLLECTION_ITEM_TYPE::portableModel,
    melta::itemName.c_str(),
    KIM::LANGUAGE_NAME::cpp,
    reinterpret_cast<KIM::Function*>(melta_kim_create),
    nullptr,
    nullptr,
    0,
    nullptr,
    0,
    nullptr,
};
}
