#include "NoticedWork.h"

#include <utility>

namespace kelvane {

void NoticedWork::follow(bool isUnderWay, MainContext& context) {
    if (!isUnderWay) return end();
    if (std::exchange(isUnderWay_, true)) return;
    timer_ = context.after(pause, [this] {
        isShown_ = true;
        noticed_();
    });
}

void NoticedWork::end() {
    timer_.cancel();
    isUnderWay_ = isShown_ = false;
}

}  // namespace kelvane
