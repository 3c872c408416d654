// SPDX-License-Identifier: MIT
#include <platform/loccore/messages.h>

#include <platform/loccore/catalogue.h>
#include <platform/loccore/catalogue_file.h>

#include <optional>

namespace Loc {

struct Messages::Catalogue {
    CatalogueFile file;
    Wordings wordings; // views into the file
};

Messages::Messages(std::string module) : module_(std::move(module)) {}
Messages::Messages(const Messages&) = default;
Messages::Messages(Messages&&) noexcept = default;
Messages& Messages::operator=(const Messages&) = default;
Messages& Messages::operator=(Messages&&) noexcept = default;
Messages::~Messages() = default;

bool Messages::load(const char* folder, const char* language, std::string* error) {
    std::string why;
    auto found = findCatalogue(folder ? folder : "", language ? language : "", module_, why);
    if (found) {
        const auto loaded = std::make_shared<Catalogue>();
        loaded->file = *std::move(found);
        if (checkWordings(loaded->file.bytes, loaded->wordings, why) == Loaded) {
            catalogue_ = loaded;
            return true;
        }
        why = loaded->file.path + ": " + why;
    }
    if (error) *error = why;
    return false;
}

std::string_view Messages::translated(std::string_view wording) const {
    if (!catalogue_) return wording;
    const auto place = catalogue_->wordings.forms.find(wording);
    return place == catalogue_->wordings.forms.end() ? wording : place->second.front();
}

std::string_view Messages::translated(std::string_view one, std::string_view many, std::uint64_t number) const {
    const std::string_view english = number == 1 ? one : many;
    if (!catalogue_) return english;
    const auto& [rule, forms] = catalogue_->wordings;
    const auto place = forms.find(one);
    if (place == forms.end() || place->second.size() != rule.forms()) return english;
    return place->second[rule.formFor(number)];
}

} // namespace Loc
