set(units
)
