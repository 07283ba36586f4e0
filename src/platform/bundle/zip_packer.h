#pragma once

// The state of one pack that its entry sources share: the failure to report and the progress.
// Internal to the bundle library; used on the thread that writes the archive only.

#include <QByteArray>
#include <QString>

#include <sys/types.h>

#include <algorithm>
#include <exception>
#include <functional>

#include "platform/bundle/zip.h"
#include "platform/bundle/zip_support.h"

namespace Bundle::Zip::detail {

struct Item {
    QByteArray name;  // entry name; folders end in "/"
    QByteArray path;  // native path of the file
    bool isDir = false;
    quint32 mode = 0;
    time_t mtime = 0;
    qint64 size = 0;
};

class Packer {
public:
    Packer(const QString& package, const QString& folder, const PackOptions& options)
        : package_(package), folder_(folder), progress_(options.progress) {}

    [[noreturn]] void fail(const QString& reason) const {
        throwError(QStringLiteral("Cannot pack %1 into %2: %3")
                       .arg(quoted(folder_), quoted(package_), reason));
    }

    void setTotal(qint64 total) { total_ = std::max<qint64>(total, 1); }

    // Adds work done and reports it; false when the caller asked to stop.
    bool advance(qint64 amount) {
        done_ += amount;
        const double fraction = std::min(1.0, double(done_) / double(total_));
        if (fraction < 1.0 && fraction - reported_ < 0.001)
            return true;
        return report(fraction);
    }

    bool report(double fraction) {
        if (cancelled_)
            return false;
        reported_ = fraction;
        if (!progress_)
            return true;
        try {
            cancelled_ = !progress_(fraction);
        } catch (...) {
            thrown_ = std::current_exception();
            cancelled_ = true;
        }
        return !cancelled_;
    }

    void noteFailure(const QString& reason) {
        if (failure_.isEmpty())
            failure_ = reason;
    }

    // Throws whatever stopped the pack: the caller's own exception, a cancel, a file that could
    // not be read, or else libzip's account.
    [[noreturn]] void raise(const QString& fallback) const {
        if (thrown_)
            std::rethrow_exception(thrown_);
        if (cancelled_)
            fail(QStringLiteral("cancelled"));
        fail(failure_.isEmpty() ? fallback : failure_);
    }

    double reported() const { return reported_; }

private:
    QString package_;
    QString folder_;
    std::function<bool(double)> progress_;
    qint64 total_ = 1;
    qint64 done_ = 0;
    double reported_ = -1.0;
    bool cancelled_ = false;
    std::exception_ptr thrown_;
    QString failure_;
};

}  // namespace Bundle::Zip::detail
