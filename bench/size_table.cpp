#include "size_table.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace {

/// To two digits, and never a negative zero.
double shown(double number)
{
    return std::round(number * 100) / 100 + 0.0;
}

}  // namespace

SizeTable::SizeTable(std::string title, std::string items, std::vector<Column> columns)
    : title_(std::move(title)), items_(std::move(items)), columns_(std::move(columns))
{}

void SizeTable::add(double size, const std::vector<double>& figures)
{
    lines_.push_back({size, figures});
}

double SizeTable::at(std::size_t column, double size) const
{
    const auto line = std::ranges::find(lines_, size, &Line::size);
    if (line == lines_.end()) throw std::out_of_range("no such size");
    return line->figures.at(column);
}

double SizeTable::ratio(std::size_t ours, std::size_t baseline, double size) const
{
    return at(ours, size) / at(baseline, size);
}

double SizeTable::growth(std::size_t column, double from, double to) const
{
    return std::log(at(column, to) / at(column, from)) / std::log(to / from);
}

void SizeTable::printHead() const
{
    std::string head = "| " + items_ + " |";
    std::string rule = "|--:|";
    const auto addColumn = [&](const std::string& name) {
        head += " " + name + " |";
        rule += "--:|";
    };
    for (const Column& column : columns_) {
        addColumn(column.name);
        if (column.baselineOf) addColumn("Ratio");
    }
    addColumn("Growth");
    std::printf("\n### %s\n\n%s\n%s", title_.c_str(), head.c_str(), rule.c_str());
}

void SizeTable::printFigures(const Line& line) const
{
    std::printf("\n| %.0f |", line.size);
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const Column& column = columns_[i];
        const double items = column.ofItem ? line.size : 1.0;
        std::printf(" %.*f |", column.digits, line.figures.at(i) / items / column.perUnit);
        if (column.baselineOf) std::printf(" %.2f |", ratio(*column.baselineOf, i, line.size));
    }
}

// The first column is ours; its growth is shown from line to line.
void SizeTable::print() const
{
    printHead();
    const Line* before = nullptr;
    for (const Line& line : lines_) {
        printFigures(line);
        if (before != nullptr)
            std::printf(" %.2f |", shown(growth(0, before->size, line.size)));
        else
            std::printf(" |");
        before = &line;
    }
    std::printf("\n");
    (void)std::fflush(stdout);
}

int printLimits(const std::vector<SizeLimit>& limits)
{
    bool allHold = true;
    std::printf("\n| Ratio or number | Is | At most | Holds |\n|---|--:|--:|---|\n");
    for (const SizeLimit& limit : limits) {
        const bool holds = limit.figure <= limit.most;
        std::printf("| %s | %.2f | %.2f | %s |\n", limit.what.c_str(), limit.figure, limit.most,
                    holds ? "yes" : "NO");
        allHold = allHold && holds;
    }
    return allHold ? 0 : 1;
}
