#include "host/store/survey.hpp"

#include <cstdint>
#include <new>
#include <span>

namespace saddlefit::host {

namespace {

struct FreeSurvey {
    void operator()(StoreSurvey *survey) const { freeStoreSurvey(survey); }
};

std::size_t unsignedOf(std::int64_t value) {
    return static_cast<std::size_t>(value);
}

} // namespace

Survey surveyOf(StoreFile &file) {
    StoreSurvey found{};
    if (!surveyStore(&file, &found)) throw std::bad_alloc();
    const std::unique_ptr<StoreSurvey, FreeSurvey> owned(&found);
    Survey survey;
    for (const auto &span : std::span(found.records, unsignedOf(found.recordCount)))
        survey.records.push_back({unsignedOf(span.offset), unsignedOf(span.length)});
    survey.freeBlocks = unsignedOf(found.freeBlocks);
    survey.freeBytes = unsignedOf(found.freeBytes);
    survey.slackBytes = unsignedOf(found.slackBytes);
    survey.passedOver = unsignedOf(found.passedOver);
    if (found.isDamaged) survey.damage = {unsignedOf(found.damage.offset), found.damage.what};
    if (found.damagedRecord >= 0) survey.damagedRecord = unsignedOf(found.damagedRecord);
    return survey;
}

Survey surveyOf(std::string_view bytes) {
    const OpenStore file(openStoreBytes(bytes.data(), bytes.size()));
    if (!file) throw std::bad_alloc();
    return surveyOf(*file);
}

} // namespace saddlefit::host
