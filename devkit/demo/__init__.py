"""The demonstration: the real daemon carries out a rollout, with a live commentary."""
