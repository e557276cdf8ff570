"""Station scripts for ftmd boards: the `board` fixture and its client."""

from ftm_station.client import Board, BoardError, NoAnswer, Refused

__all__ = ["Board", "BoardError", "NoAnswer", "Refused"]
