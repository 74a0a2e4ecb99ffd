#pragma once

#include <QAbstractListModel>
#include <algorithm>
#include <memory>
#include <vector>

#include "RowChanges.h"

namespace kelvane {

/// Rows for a list that show records, which are told apart by their `id`. When the records change, rows come, go, move
/// and change by id, and the model is never reset: a view keeps its place, its selection and the rows that it made, and
/// persistent indices follow their records. `Record` has an `id` and an equality. The main thread.
template <class Record>
class RecordListModel : public QAbstractListModel {
public:
    /// An array that is shared with its owner, who never changes it.
    using Records = std::shared_ptr<const std::vector<Record>>;

    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(rows_.size());
    }

protected:
    /// Shows other records; null counts as none. Rows whose record differs from the one before are told together where
    /// they lie together. Nothing happens for the array that is shown already.
    void setRecords(Records records) {
        if (!records) records = std::make_shared<const std::vector<Record>>();
        if (records == records_) return;
        for (const RowChange& change : rowChanges(ids(*records_), ids(*records))) apply(change, *records);
        std::vector<bool> differs(rows_.size());
        for (std::size_t row = 0; row < rows_.size(); ++row) {
            const Record* present = &(*records)[row];
            differs[row] = rows_[row] != present && !(*rows_[row] == *present);
            rows_[row] = present;
        }
        records_ = std::move(records);
        tell(differs);
    }
    /// Null for a row that is not there.
    [[nodiscard]] const Record* record(int row) const {
        return row < 0 || row >= rowCount() ? nullptr : rows_[static_cast<std::size_t>(row)];
    }

private:
    static std::vector<UUID> ids(const std::vector<Record>& records) {
        std::vector<UUID> found;
        found.reserve(records.size());
        for (const Record& record : records) found.push_back(record.id);
        return found;
    }

    /// Between two arrays, rows show records of either.
    void apply(const RowChange& change, const std::vector<Record>& arriving) {
        const auto first = rows_.begin() + change.first;
        const int end = change.first + change.count - 1;
        switch (change.kind) {
            case RowChange::Kind::remove:
                beginRemoveRows({}, change.first, end);
                rows_.erase(first, first + change.count);
                endRemoveRows();
                return;
            case RowChange::Kind::move: {
                beginMoveRows({}, change.first, end, {}, change.destination);
                const auto last = first + change.count;
                const auto place = rows_.begin() + change.destination;
                if (place < first)
                    std::rotate(place, first, last);
                else
                    std::rotate(first, last, place);
                endMoveRows();
                return;
            }
            case RowChange::Kind::insert: {
                beginInsertRows({}, change.first, end);
                std::vector<const Record*> added;
                for (int row = change.first; row <= end; ++row)
                    added.push_back(&arriving[static_cast<std::size_t>(row)]);
                rows_.insert(first, added.begin(), added.end());
                endInsertRows();
                return;
            }
        }
    }

    void tell(const std::vector<bool>& differs) {
        const int count = static_cast<int>(differs.size());
        for (int first = 0; first < count; ++first) {
            if (!differs[static_cast<std::size_t>(first)]) continue;
            int last = first;
            while (last + 1 < count && differs[static_cast<std::size_t>(last + 1)]) ++last;
            Q_EMIT dataChanged(index(first), index(last));
            first = last;
        }
    }

    Records records_ = std::make_shared<const std::vector<Record>>();
    /// Into `records_`, and into the array that comes while it does.
    std::vector<const Record*> rows_;
};

}  // namespace kelvane
