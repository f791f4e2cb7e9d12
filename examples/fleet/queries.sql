-- sqlite3 fleet.db < queries.sql: what one asks about a fleet.

-- Which machines are bad, and why?
SELECT line ->> '$.machine' AS machine, line ->> '$.answer.verdict' AS verdict, reason.value ->> 'text' AS reason
FROM fleet LEFT JOIN json_each(line, '$.answer.reasons') AS reason
WHERE line ->> '$.answer.verdict' <> 'finished'
ORDER BY 1;

-- Which driver is it, and what was it being asked?
SELECT driver.value ->> 'manifest' AS driver, driver.value ->> 'behaviour' AS behaviour,
       driver.value ->> 'question' AS question, count(*) AS machines
FROM fleet, json_each(line, '$.answer.drivers') AS driver
GROUP BY 1, 2, 3
ORDER BY machines DESC;

-- How many machines could run an application that needs OpenGL 3.3 on a card?
SELECT count(DISTINCT line ->> '$.machine') AS machines
FROM fleet, json_each(line, '$.answer.gpus') AS gpu
WHERE gpu.value ->> 'interface' = 'OpenGL' AND NOT gpu.value ->> 'software' AND gpu.value ->> 'complete'
  AND CAST(gpu.value ->> '$.values.glVersion' AS REAL) >= 3.3;

-- Which cards, with which version of the kernel's driver?
SELECT adapter.value ->> 'name' AS card, adapter.value ->> 'driverVersion' AS driver, count(*) AS cards
FROM fleet, json_each(line, '$.answer.adapters') AS adapter
GROUP BY 1, 2
ORDER BY cards DESC, card, driver
LIMIT 20;

-- Which GPUs copy at less than two fifths of the usual speed of their kind?
WITH gpus AS (
  SELECT line ->> '$.machine' AS machine, gpu.value ->> '$.values.clName' AS name,
         gpu.value ->> '$.values.clBandwidth' AS bandwidth
  FROM fleet, json_each(line, '$.answer.gpus') AS gpu
  WHERE bandwidth > 0),
kinds AS (SELECT name, avg(bandwidth) AS usual FROM gpus GROUP BY name)
SELECT machine, name, bandwidth, usual FROM gpus JOIN kinds USING (name)
WHERE bandwidth * 2.5 < usual
ORDER BY bandwidth / usual
LIMIT 20;
