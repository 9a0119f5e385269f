#pragma once

#include <vector>

#include "device/object_builder.h"

namespace device {

/// Lets values move as long as nobody else has a say in them: present values of inputs and values, and the properties
/// that are the project's own. Outputs stand still, what is out of service or has been written stays what it is, and
/// what is commanded moves on once it is released.
class CMovement {
 public:
  explicit CMovement(const std::vector<PlacedPoint>& points);

  void moveTo(double seconds);  ///< since the start

 private:
  struct Mover {
    PlacedPoint placed;
    bacnet::PropertyId property;
    bacnet::Values last;  ///< as it was left; empty before the first move
  };

  static void move(Mover& mover, double seconds);

  std::vector<Mover> movers_;
};

}  // namespace device
