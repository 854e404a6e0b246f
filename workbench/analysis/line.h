#pragma once

namespace tonvale::workbench {

/// A straight line by least squares.
class Line {
  public:
    void add(double x, double y) {
        // About the mean, so that large x lose no digits.
        count += 1;
        const double dx = x - meanX;
        meanX += dx / count;
        meanY += (y - meanY) / count;
        squares += dx * (x - meanX);
        products += dx * (y - meanY);
    }

    /// 0 with fewer than two different x.
    double slope() const { return squares > 0 ? products / squares : 0.0; }
    double at(double x) const { return meanY + slope() * (x - meanX); }

  private:
    double count = 0;
    double meanX = 0;
    double meanY = 0;
    double squares = 0;
    double products = 0;
};

} // namespace tonvale::workbench
