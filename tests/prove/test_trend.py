# SPDX-License-Identifier: Apache-2.0
"""Whether growth is told from noise."""
import random

import pytest

from long_life import Sample, judge
from trend import trend_of


def test_line_has_its_slope_and_no_error():
    trend = trend_of([0, 100, 200, 300], [5, 7, 9, 11])

    assert (trend.slope, trend.error) == (pytest.approx(0.02), pytest.approx(0))


def test_noise_is_flat_and_a_leak_in_the_same_noise_is_not():
    source = random.Random(1)
    places = list(range(0, 10_000, 100))
    noise = [source.gauss(0, 4096) for _ in places]

    assert trend_of(places, noise).is_flat(0)
    assert not trend_of(places, [each + 20 * place for place, each in zip(places, noise, strict=True)]).is_flat(10)


def test_two_samples_have_no_trend():
    with pytest.raises(ValueError, match="no trend"):
        trend_of([0, 1], [0, 1])


@pytest.mark.parametrize("grows, by", [("memory", 20_000), ("descriptors", 1), ("threads", 1), ("zombies", 1),
                                       ("log", 1)])
def test_whatever_grows_is_seen(grows, by):
    samples = []
    for number in range(20):
        usual = {"memory": 1e7, "descriptors": 7, "threads": 2, "zombies": 0, "log": 128.0}
        usual[grows] += by * number
        samples.append(Sample(polls=number * 100, **usual))

    assert [name for name, (_, is_flat) in judge(samples).items() if not is_flat] == [grows]
