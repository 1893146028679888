// What tools/melta-kim asks this library.
#include "KIM_Collection.hpp"
#include "KIM_CollectionItemType.hpp"
#include "KIM_Collections.hpp"
#include "KIM_LogVerbosity.hpp"
#include "KimRoutines.hpp"
#include "melta/Potential.hpp"

#include <cstdio>
#include <exception>
#include <memory>
#include <string>

namespace {

struct CollectionsCloser {
    void operator()(KIM::Collections* collections) const { KIM::Collections::Destroy(&collections); }
};

std::string describeForceField(const std::string& file) {
    const auto potential = melta::Potential::read(file);
    std::string text =
        std::string(potential.descriptor()) + " " + std::to_string(potential.influenceDistance());
    for (const std::string& element : potential.elements()) {
        melta::speciesOf(element);
        text += " " + element;
    }
    return text;
}

std::string listFolders(const std::string& name) {
    KIM::Collections* created = nullptr;
    if (KIM::Collections::Create(&created) != 0) {
        throw melta::Error("KIM cannot read its configuration.");
    }
    const std::unique_ptr<KIM::Collections, CollectionsCloser> collections(created);
    int number = 0;
    collections->CacheListOfDirectoryNames(KIM::Collection(name), KIM::COLLECTION_ITEM_TYPE::portableModel,
                                           &number);
    std::string text;
    for (int i = 0; i < number; ++i) {
        const std::string* folder = nullptr;
        collections->GetDirectoryName(i, &folder);
        text += (i == 0 ? "" : "\n") + *folder;
    }
    return text;
}

// Writes the answer, or what is wrong, into `text`; 0 if all is well.
template <class Question>
int answer(char* text, unsigned size, const Question& question) {
    try {
        std::snprintf(text, size, "%s", question().c_str());
        return 0;
    } catch (const std::exception& error) {
        std::snprintf(text, size, "%s", error.what());
    }
    return 1;
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int melta_kim_describe(const char* file, char* text, unsigned size);
__attribute__((visibility("default"))) int melta_kim_folders(const char* collection, char* text,
                                                             unsigned size);

// Of an exported force field: its kind of descriptors, its influence distance in Angstrom and its elements,
// separated by blanks.
int melta_kim_describe(const char* file, char* text, unsigned size) {
    return answer(text, size, [&] { return describeForceField(file); });
}

// The folders of portable models of a collection, one a line.
int melta_kim_folders(const char* collection, char* text, unsigned size) {
    return answer(text, size, [&] { return listFolders(collection); });
}
}
