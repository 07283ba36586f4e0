#include "cli/checks/cube_file_check.h"

#include <QList>
#include <QStringList>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>
#include <vector>

namespace Cli {
namespace {

constexpr int kMax1DSize = 65536;
constexpr int kMax3DSize = 256;

// A number of the table; NaN and infinities are read so that they can be reported as such.
std::optional<double> number(const QByteArray& token) {
    const QByteArray lower = token.toLower();
    const bool negative = lower.startsWith('-');
    const QByteArray bare = (negative || lower.startsWith('+')) ? lower.mid(1) : lower;
    if (bare == "nan")
        return std::nan("");
    if (bare == "inf" || bare == "infinity")
        return negative ? -HUGE_VAL : HUGE_VAL;
    bool ok = false;
    const double value = token.toDouble(&ok);
    if (!ok)
        return std::nullopt;
    return value;
}

// The bytes [begin, end) of a line, without copying them.
struct Span {
    const char* begin;
    const char* end;

    int size() const { return int(end - begin); }
    QByteArray bytes() const { return QByteArray(begin, size()); }
};

// The ASCII white space that QByteArray::trimmed() and simplified() strip.
bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// A table's number: plain decimals ("-0.25", "1") are read here, as a table holds nothing else
// and they are most of a large file; anything else (exponents, signs, NaN, infinities, numbers
// out of range) goes through number() above, so that both read every token alike.
std::optional<double> number(const Span& token) {
    const char* p = token.begin + (token.begin < token.end && *token.begin == '-' ? 1 : 0);
    const char* digits = p;
    while (p < token.end && *p >= '0' && *p <= '9')
        ++p;
    bool plain = p > digits;
    if (plain && p < token.end && *p == '.') {
        const char* fraction = ++p;
        while (p < token.end && *p >= '0' && *p <= '9')
            ++p;
        plain = p > fraction;
    }
    if (plain && p == token.end) {
        double value = 0;
        const auto [at, error] = std::from_chars(token.begin, token.end, value);
        if (error == std::errc() && at == token.end)
            return value;
    }
    return number(token.bytes());
}

// One kind of suspicious value: reported once, at its first line, with how many rows have it.
struct ValueFinding {
    int firstLine = 0;
    int rows = 0;
    QString first;

    // `text` makes the first row's text; it is not called for the others.
    template <typename Text>
    void note(int line, const Text& text) {
        if (rows++ == 0) {
            firstLine = line;
            first = text();
        }
    }
    void report(CheckReport& report, const CheckPlace& place, const QString& what) const {
        if (rows == 0)
            return;
        const QString more =
            rows > 1 ? QStringLiteral(" (and %1 more rows)").arg(rows - 1) : QString();
        report.add(place, Finding::Warning, what.arg(first) + more, firstLine);
    }
};

class CubeReader {
public:
    CubeReader(const CheckPlace& place, CheckReport& report) : m_place(place), m_report(report) {}

    void read(const QByteArray& data) {
        if (data.contains('\0')) {
            error(0, QStringLiteral("not a text file (a .cube LUT is text): cannot read it"));
            return;
        }
        const char* at = data.constData();
        const char* const end = at + data.size();
        for (int line = 1;; ++line) {
            const char* next = static_cast<const char*>(std::memchr(at, '\n', size_t(end - at)));
            const char* stop = next ? next : end;
            readLine(line, trimmed({at, stop}));
            if (!next)
                break;
            at = next + 1;
        }
        finish();
    }

private:
    void error(int line, const QString& message) {
        m_report.add(m_place, Finding::Error, message, line);
    }

    static Span trimmed(Span span) {
        while (span.begin < span.end && isSpace(*span.begin))
            ++span.begin;
        while (span.end > span.begin && isSpace(span.end[-1]))
            --span.end;
        return span;
    }

    // Splits the line at runs of white space, into m_tokens.
    void split(const Span& text) {
        m_tokens.clear();
        const char* p = text.begin;
        while (p < text.end) {
            const char* start = p;
            while (p < text.end && !isSpace(*p))
                ++p;
            m_tokens.push_back({start, p});
            while (p < text.end && isSpace(*p))
                ++p;
        }
    }

    void readLine(int line, const Span& text) {
        if (text.size() == 0 || *text.begin == '#')
            return;
        split(text);
        if (number(m_tokens.front())) {
            readRow(line);
            return;
        }
        QList<QByteArray> tokens;
        for (const Span& token : m_tokens)
            tokens << token.bytes();
        readKeyword(line, text.bytes(), tokens);
    }

    void readKeyword(int line, const QByteArray& text, const QList<QByteArray>& tokens) {
        const QByteArray keyword = tokens.front();
        if (keyword == "TITLE")
            return;
        static const QList<QByteArray> known = {"LUT_1D_SIZE",        "LUT_3D_SIZE",
                                                "DOMAIN_MIN",         "DOMAIN_MAX",
                                                "LUT_1D_INPUT_RANGE", "LUT_3D_INPUT_RANGE"};
        if (!known.contains(keyword)) {
            error(line, QStringLiteral("not a keyword or a row of three numbers: '%1'")
                            .arg(QString::fromUtf8(text.left(40))));
            return;
        }
        if (m_rows > 0) {
            error(line, QStringLiteral("%1 after the table has started (keywords come first)")
                            .arg(QString::fromLatin1(keyword)));
            return;
        }
        if (m_seen.contains(keyword)) {
            error(line, QStringLiteral("%1 given twice").arg(QString::fromLatin1(keyword)));
            return;
        }
        m_seen << keyword;
        if (keyword == "LUT_1D_SIZE")
            m_size1D = size(line, keyword, tokens, kMax1DSize);
        else if (keyword == "LUT_3D_SIZE")
            m_size3D = size(line, keyword, tokens, kMax3DSize);
        else if (keyword == "DOMAIN_MIN" || keyword == "DOMAIN_MAX")
            domain(line, keyword, tokens);
        else
            inputRange(line, keyword, tokens);
        if (keyword.startsWith("LUT_") && keyword.endsWith("_SIZE"))
            m_sizeLines << line;
    }

    int size(int line, const QByteArray& keyword, const QList<QByteArray>& tokens, int max) {
        bool ok = tokens.size() == 2;
        const int value = ok ? tokens[1].toInt(&ok) : 0;
        if (!ok) {
            error(line,
                  QStringLiteral("%1 needs one whole number").arg(QString::fromLatin1(keyword)));
            return 0;
        }
        if (value < 2 || value > max) {
            error(line, QStringLiteral("%1 %2 is out of range (2 to %3)")
                            .arg(QString::fromLatin1(keyword))
                            .arg(value)
                            .arg(max));
            return 0;
        }
        return value;
    }

    void domain(int line, const QByteArray& keyword, const QList<QByteArray>& tokens) {
        std::array<double, 3> values{};
        for (int i = 0; i < 3; ++i) {
            const auto value = tokens.size() == 4 ? number(tokens[i + 1]) : std::nullopt;
            if (!value || !std::isfinite(*value)) {
                error(line, QStringLiteral("%1 needs three finite numbers")
                                .arg(QString::fromLatin1(keyword)));
                return;
            }
            values[size_t(i)] = *value;
        }
        (keyword == "DOMAIN_MIN" ? m_min : m_max) = values;
        (keyword == "DOMAIN_MIN" ? m_minLine : m_maxLine) = line;
    }

    void inputRange(int line, const QByteArray& keyword, const QList<QByteArray>& tokens) {
        const auto low = tokens.size() == 3 ? number(tokens[1]) : std::nullopt;
        const auto high = tokens.size() == 3 ? number(tokens[2]) : std::nullopt;
        if (!low || !high || !std::isfinite(*low) || !std::isfinite(*high) || *low >= *high) {
            error(line, QStringLiteral("%1 needs two finite numbers, the first below the second")
                            .arg(QString::fromLatin1(keyword)));
            return;
        }
        m_min = {*low, *low, *low};
        m_max = {*high, *high, *high};
    }

    void readRow(int line) {
        ++m_rows;
        if (m_rows == expectedRows() + 1 && expectedRows() > 0)
            m_firstExtraLine = line;
        std::array<double, 3> values{};
        for (size_t i = 0; i < 3; ++i) {
            const auto value = m_tokens.size() == 3 ? number(m_tokens[i]) : std::nullopt;
            if (!value) {
                if (m_badRows++ == 0) {
                    QList<QByteArray> tokens;
                    for (const Span& token : m_tokens)
                        tokens << token.bytes();
                    error(line, QStringLiteral("a row needs three numbers: '%1'")
                                    .arg(QString::fromUtf8(tokens.join(' ').left(40))));
                }
                return;
            }
            values[i] = *value;
        }
        for (size_t i = 0; i < 3; ++i) {
            const double value = values[i];
            const auto text = [&] { return QString::fromLatin1(m_tokens[i].bytes()); };
            if (std::isnan(value)) {
                m_nan.note(line, text);
            } else if (std::isinf(value)) {
                m_infinite.note(line, text);
            } else if (value < m_min[i] || value > m_max[i]) {
                m_outside.note(line, [&] {
                    return QStringLiteral("%1 is outside the domain [%2, %3]")
                        .arg(text())
                        .arg(m_min[i])
                        .arg(m_max[i]);
                });
            } else {
                continue;
            }
            break;  // one finding per row
        }
    }

    qint64 expectedRows() const {
        return qint64(m_size1D) + qint64(m_size3D) * m_size3D * m_size3D;
    }

    void finish() {
        for (int i = 0; i < 3; ++i) {
            if (m_min[size_t(i)] >= m_max[size_t(i)]) {
                error(m_maxLine ? m_maxLine : m_minLine,
                      QStringLiteral("the domain is empty: DOMAIN_MIN must be below DOMAIN_MAX "
                                     "in every channel"));
                m_outside = {};  // every value would be outside it: the error says it all
                break;
            }
        }
        const bool sized = m_seen.contains("LUT_1D_SIZE") || m_seen.contains("LUT_3D_SIZE");
        if (!sized) {
            error(0, QStringLiteral("no LUT_1D_SIZE or LUT_3D_SIZE line"));
        } else if (expectedRows() > 0 && m_rows != expectedRows()) {
            QStringList sizes;
            if (m_size1D)
                sizes << QStringLiteral("LUT_1D_SIZE %1").arg(m_size1D);
            if (m_size3D)
                sizes << QStringLiteral("LUT_3D_SIZE %1").arg(m_size3D);
            const QString message = QStringLiteral("the table has %1 rows, %2 needs %3")
                                        .arg(m_rows)
                                        .arg(sizes.join(QStringLiteral(" and ")))
                                        .arg(expectedRows());
            // Too many rows: the first one too many; too few: the size that asks for more.
            error(m_rows > expectedRows() ? m_firstExtraLine : m_sizeLines.back(), message);
        }
        m_nan.report(m_report, m_place, QStringLiteral("value %1 is not a number"));
        m_infinite.report(m_report, m_place, QStringLiteral("value %1 is infinite"));
        m_outside.report(m_report, m_place, QStringLiteral("value %1"));
    }

    const CheckPlace& m_place;
    CheckReport& m_report;
    std::vector<Span> m_tokens;  // of the line being read
    QList<QByteArray> m_seen;
    QList<int> m_sizeLines;
    int m_size1D = 0;
    int m_size3D = 0;
    std::array<double, 3> m_min{{0.0, 0.0, 0.0}};
    std::array<double, 3> m_max{{1.0, 1.0, 1.0}};
    int m_minLine = 0;
    int m_maxLine = 0;
    qint64 m_rows = 0;
    int m_badRows = 0;
    int m_firstExtraLine = 0;
    ValueFinding m_nan;
    ValueFinding m_infinite;
    ValueFinding m_outside;
};

}  // namespace

void CubeFileCheck::check(const QByteArray& data, const CheckPlace& place, CheckReport& report) {
    CubeReader(place, report).read(data);
}

}  // namespace Cli
