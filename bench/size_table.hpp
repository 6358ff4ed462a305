#pragma once

#include <optional>
#include <string>
#include <vector>

/// What a case costs over the number of its items, each size in a line.
class SizeTable
{
public:
    /// A column that has a figure for each size.
    struct Column
    {
        std::string name;
        double perUnit = 1.0;  ///< the figures are divided by it: 1000 shows nanoseconds as microseconds
        int digits = 1;
        bool ofItem = false;                         ///< shown for each item
        std::optional<std::size_t> baselineOf = {};  ///< a column of ours: its ratio to this one is shown
    };

    SizeTable(std::string title, std::string items, std::vector<Column> columns);

    void add(double size, const std::vector<double>& figures);

    /// A column's figure at a size that was added.
    [[nodiscard]] double at(std::size_t column, double size) const;

    /// A column of ours at a size, divided by a baseline of it.
    [[nodiscard]] double ratio(std::size_t ours, std::size_t baseline, double size) const;

    /// With which power of the size a column grows between two sizes: 0 not at all, 1 linear, 2 quadratic.
    [[nodiscard]] double growth(std::size_t column, double from, double to) const;

    void print() const;

private:
    struct Line
    {
        double size;
        std::vector<double> figures;
    };

    void printHead() const;
    void printFigures(const Line& line) const;

    std::string title_;
    std::string items_;
    std::vector<Column> columns_;
    std::vector<Line> lines_;
};

/// What a table must not exceed.
struct SizeLimit
{
    std::string what;
    double figure;
    double most;
};

/// Prints the limits as a table of their own.
/// @return the exit status: 1 when one does not hold
int printLimits(const std::vector<SizeLimit>& limits);
