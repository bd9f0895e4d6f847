# SPDX-License-Identifier: Apache-2.0
"""A straight line through samples: how fast something grows, and how sure that is."""
import dataclasses
import math


@dataclasses.dataclass(frozen=True)
class Trend:
    """`slope` is the growth of the values for each unit of the places, `error` its standard error."""

    slope: float
    error: float

    def is_flat(self, bound):
        """Whether nothing grows: the slope is at most `bound`, or too uncertain to say that it is above zero."""
        return self.slope <= max(bound, 2 * self.error)


def trend_of(places, values):
    """The least squares through at least three samples; ValueError for fewer."""
    count = len(places)
    if count < 3:
        raise ValueError(f"{count} samples have no trend")
    middle, mean = sum(places) / count, sum(values) / count
    spread = sum((place - middle) ** 2 for place in places)
    slope = sum((place - middle) * (value - mean) for place, value in zip(places, values, strict=True)) / spread
    rest = sum((value - mean - slope * (place - middle)) ** 2 for place, value in zip(places, values, strict=True))
    return Trend(slope, math.sqrt(rest / (count - 2) / spread))
