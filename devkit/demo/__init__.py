"""The demonstration: the real daemon carries out a rollout, and what happens is told live."""
