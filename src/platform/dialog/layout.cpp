#include "platform/dialog/layout.h"

#include <algorithm>

namespace tsasync::platform {

namespace {

constexpr std::int32_t kTwipsPerInch = 1440;
constexpr std::int32_t kGap = 120;  // twips between a caption and its value
constexpr int kMaxGrowth = 2;       // times the layout's width

std::size_t IndexOf(ProgressControl control) { return static_cast<std::size_t>(control); }

const ProgressPlace& PlaceOf(ProgressControl control) { return kProgressLayout.at(IndexOf(control)); }

bool IsLabel(ProgressControl control) {
    return control != ProgressControl::Animation && control != ProgressControl::Progress &&
           control != ProgressControl::Cancel;
}

bool HasAnyLength(ProgressControl control) {
    return control == ProgressControl::AssetName || control == ProgressControl::Dest;
}

class Arrangement {
  public:
    explicit Arrangement(const DialogSizes& sizes)
        : m_sizes(sizes), m_width(std::max(sizes.width, NeededWidth())) {}

    DialogLayout Rows() const;

  private:
    int Pixels(std::int32_t twips) const {
        return (twips * m_sizes.dotsPerInch + kTwipsPerInch / 2) / kTwipsPerInch;
    }
    const DialogSize& Needs(ProgressControl control) const { return m_sizes.needs.at(IndexOf(control)); }
    int Right(const ProgressPlace& place) const { return Pixels(place.left + place.width); }
    int DesignWidth() const { return Pixels(kProgressClientWidth); }

    int Left(ProgressControl control) const;
    int NeededWidth() const;
    DialogRectangle Place(const ProgressPlace& place) const;

    const DialogSizes& m_sizes;
    int m_width;  // of the client area
};

int Arrangement::Left(ProgressControl control) const {
    int left = Pixels(PlaceOf(control).left);
    for (const DialogPair& pair : kDialogPairs) {
        if (pair.value != control) continue;
        const int captionEnd = Pixels(PlaceOf(pair.caption).left) + Needs(pair.caption).width;
        left = std::max(left, captionEnd + Pixels(kGap));
    }
    return left;
}

int Arrangement::NeededWidth() const {
    const ProgressPlace& whole = PlaceOf(ProgressControl::AssetName);
    const int design = DesignWidth();
    const int rightMargin = design - Right(whole);
    int width = design;
    for (const ProgressPlace& place : kProgressLayout) {
        if (!IsLabel(place.control)) continue;
        const int left = Left(place.control);
        const int wanted = left + Needs(place.control).width + rightMargin;
        width = std::max(width, HasAnyLength(place.control) ? std::min(wanted, kMaxGrowth * design) : wanted);
        // Behind a longer caption a path keeps its room, which tells how it is shortened.
        if (place.control == ProgressControl::Dest)
            width = std::max(width, left + Right(place) - Pixels(place.left) + rightMargin);
    }
    return std::min(width, std::max(m_sizes.widest, design));
}

// A control's place in a row that has not come down.
DialogRectangle Arrangement::Place(const ProgressPlace& place) const {
    const DialogSize& needs = Needs(place.control);
    const int growth = m_width - DesignWidth();
    const int left = Left(place.control);
    const int right = Right(place) + growth;
    DialogRectangle area{left, Pixels(place.top), right - left, std::max(Pixels(place.height), needs.height)};
    if (place.control == ProgressControl::Cancel) {
        area.width = std::max(Pixels(place.width), needs.width);
        area.left = right - area.width;
    } else if (place.tag != 0) {  // a caption
        area.width = std::max(Pixels(place.width), needs.width);
        for (const DialogPair& pair : kDialogPairs) {
            if (pair.caption == place.control) area.width = Left(pair.value) - Pixels(kGap) / 2 - left;
        }
    }
    return area;
}

// The places of two lines may share a pixel; what their texts need may not.
DialogLayout Arrangement::Rows() const {
    DialogLayout layout;
    int shift = 0;    // how far this row has come down
    int rowTop = -1;  // in the layout
    int above = 0;    // the lower end of what the rows above need
    int bottom = 0;   // and of what this one needs
    for (const ProgressPlace& place : kProgressLayout) {
        if (place.top != rowTop) above = bottom;
        rowTop = place.top;
        shift = std::max(shift, above - Pixels(place.top));
        DialogRectangle& area = layout.places.at(IndexOf(place.control));
        area = Place(place);
        area.top += shift;
        bottom = std::max(bottom, area.top + Needs(place.control).height);
    }
    const ProgressPlace& last = kProgressLayout.back();
    const DialogRectangle& lowest = layout.places.at(IndexOf(last.control));
    const int margin = Pixels(kProgressClientHeight - last.top - last.height);
    layout.client = {m_width, lowest.top + lowest.height + margin};
    return layout;
}

}  // namespace

DialogLayout LayOutDialog(const DialogSizes& sizes) { return Arrangement(sizes).Rows(); }

}  // namespace tsasync::platform
